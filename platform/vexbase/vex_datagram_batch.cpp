#include "vexbase/vex_datagram_batch.h"

VEXDatagramBatch::VEXDatagramBatch(std::size_t largest)
    : mLargest(largest), mBytes(kCapacity * (largest + 1))
{
    for (std::size_t place = 0; place < kCapacity; ++place) {
        mPlaces[place] = {&mBytes[place * (mLargest + 1)], mLargest};
        Prepare(place);
    }
}

std::string_view VEXDatagramBatch::Datagram(std::size_t index) const
{
    const std::size_t place = mFilled[index];
    return {&mBytes[place * (mLargest + 1)], mHeaders[place].msg_len};
}

const sockaddr_in &VEXDatagramBatch::Sender(std::size_t index) const
{
    return mSenders[mFilled[index]];
}

// Receiving overwrites a header.
void VEXDatagramBatch::Prepare(std::size_t place)
{
    msghdr &header = mHeaders[place].msg_hdr;
    header.msg_name = &mSenders[place];
    header.msg_namelen = sizeof mSenders[place];
    header.msg_iov = &mPlaces[place];
    header.msg_iovlen = 1;
}

void VEXDatagramBatch::Clear()
{
    for (std::size_t place = 0; place < mReceived; ++place) {
        Prepare(place);
    }
    mReceived = 0;
    mCount = 0;
}

int VEXDatagramBatch::Receive(int descriptor, int flags)
{
    Clear();
    const int received =
        recvmmsg(descriptor, mHeaders.data(), kCapacity, flags | MSG_WAITFORONE, nullptr);
    mReceived = received < 0 ? 0 : static_cast<std::size_t>(received);
    for (std::size_t place = 0; place < mReceived; ++place) {
        mBytes[place * (mLargest + 1) + mHeaders[place].msg_len] = '\0';
        if (mHeaders[place].msg_len > 0) {
            mFilled[mCount++] = place;
        }
    }
    return received;
}
