#include "vexbase/vex_datagram_batch.h"

namespace vexbase {

DatagramBatch::DatagramBatch(std::size_t largest)
    : mLargest(largest), mBytes(kCapacity * (largest + 1))
{
    for (std::size_t place = 0; place < kCapacity; ++place) {
        mPlaces[place] = {&mBytes[place * (mLargest + 1)], mLargest};
        Prepare(place);
    }
}

std::string_view DatagramBatch::Datagram(std::size_t index) const
{
    const std::size_t place = mFilled[index];
    return {&mBytes[place * (mLargest + 1)], mHeaders[place].msg_len};
}

const sockaddr_in &DatagramBatch::Sender(std::size_t index) const
{
    return mSenders[mFilled[index]];
}

// recvmmsg() changes a header, so each is set again before the next call.
void DatagramBatch::Prepare(std::size_t place)
{
    msghdr &header = mHeaders[place].msg_hdr;
    header.msg_name = &mSenders[place];
    header.msg_namelen = sizeof mSenders[place];
    header.msg_iov = &mPlaces[place];
    header.msg_iovlen = 1;
}

void DatagramBatch::Clear()
{
    for (std::size_t place = 0; place < mReceived; ++place) {
        Prepare(place);
    }
    mReceived = 0;
    mCount = 0;
}

int DatagramBatch::Receive(int descriptor, int flags)
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

} // namespace vexbase
