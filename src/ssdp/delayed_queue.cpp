#include "ssdp/delayed_queue.h"

#include <utility>

void DelayedQueue::Add(GETMessageType datagram)
{
    const bool room = mDatagrams.size() < mMaxCount && mBytes < mMaxBytes;
    const bool mostlyEmpty = mDatagrams.size() < mMaxCount / 2 && mBytes < mMaxBytes / 2;
    if (mReport.Admit(room, mostlyEmpty)) {
        mBytes += datagram.message.size();
        mDatagrams.push_back(std::move(datagram));
    }
}

void DelayedQueue::Tick(std::uint32_t elapsed, const Sender &send)
{
    for (auto datagram = mDatagrams.begin(); datagram != mDatagrams.end();) {
        if (datagram->delay > elapsed) {
            datagram->delay -= elapsed;
            ++datagram;
            continue;
        }
        send(*datagram);
        mBytes -= datagram->message.size();
        datagram = mDatagrams.erase(datagram);
    }
}

void DelayedQueue::Clear()
{
    mDatagrams.clear();
    mBytes = 0;
}
