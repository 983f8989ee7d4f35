#include "ssdp/delayed_queue.h"

#include <iterator>
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

std::list<GETMessageType> DelayedQueue::TakeDue(std::uint32_t elapsed)
{
    std::list<GETMessageType> due;
    for (auto datagram = mDatagrams.begin(); datagram != mDatagrams.end();) {
        const auto next = std::next(datagram);
        if (datagram->delay > elapsed) {
            datagram->delay -= elapsed;
        } else {
            mBytes -= datagram->message.size();
            due.splice(due.end(), mDatagrams, datagram);
        }
        datagram = next;
    }
    return due;
}

void DelayedQueue::Clear()
{
    mDatagrams.clear();
    mBytes = 0;
}
