#include "vexbase/vex_datagram_batch.h"

VEXDatagramBatch::VEXDatagramBatch(std::size_t largest)
    : mLargest(largest), mBytes(kCapacity * (largest + 1))
{
    for (std::size_t index = 0; index < kCapacity; ++index) {
        mPlaces[index] = {&mBytes[index * (mLargest + 1)], mLargest};
        Prepare(index);
    }
}

std::string_view VEXDatagramBatch::Datagram(std::size_t index) const
{
    return {&mBytes[index * (mLargest + 1)], mHeaders[index].msg_len};
}

// The system writes into a header what it received, so that it is set anew for
// the next time.
void VEXDatagramBatch::Prepare(std::size_t index)
{
    msghdr &header = mHeaders[index].msg_hdr;
    header.msg_name = &mSenders[index];
    header.msg_namelen = sizeof mSenders[index];
    header.msg_iov = &mPlaces[index];
    header.msg_iovlen = 1;
}

void VEXDatagramBatch::Clear()
{
    for (std::size_t index = 0; index < mCount; ++index) {
        Prepare(index);
    }
    mCount = 0;
}

int VEXDatagramBatch::Receive(int descriptor, int flags)
{
    Clear();
    const int received =
        recvmmsg(descriptor, mHeaders.data(), kCapacity, flags | MSG_WAITFORONE, nullptr);
    mCount = received < 0 ? 0 : static_cast<std::size_t>(received);
    for (std::size_t index = 0; index < mCount; ++index) {
        mBytes[index * (mLargest + 1) + mHeaders[index].msg_len] = '\0';
    }
    return received;
}
