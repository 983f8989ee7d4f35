#include "ssdp/delayed_queue.h"

#include "ssdp/ssdp_tunables.h"

#include <algorithm>
#include <iterator>

namespace ssdp {
namespace {

std::size_t PlacesOf(const GETMessageType &datagram)
{
    return std::max<std::size_t>(1, (datagram.message.size() + kBytesOfPlace - 1) / kBytesOfPlace);
}

} // namespace

std::size_t DelayedQueue::PlacesHeldBy(in_addr_t holder) const
{
    const auto held = mHolders.find(holder);
    return held == mHolders.end() ? 0 : held->second.places;
}

// The same comparison as in MakeRoom, for a datagram of one place.
bool DelayedQueue::HasRoomFor(in_addr_t holder) const
{
    return mPlaces < mMaxPlaces || PlacesHeldBy(holder) + 1 < mByPlaces.rbegin()->first;
}

void DelayedQueue::Add(GETMessageType datagram)
{
    if (mPlaces * kMostlyEmptyQueueShare < mMaxPlaces) {
        mReport.NoteMostlyEmpty();
    }
    if (MakeRoom(datagram)) {
        datagram.order = ++mAdded;
        AddNewest(std::move(datagram));
    }
}

// Drops the newest datagrams of the addresses that hold most places, while these hold
// more than the new datagram's holder would. Therefore, if one address floods the queue,
// only its own datagrams are dropped. If a large datagram still finds no room, the dropped
// datagrams come back: a refused datagram takes no place from others.
bool DelayedQueue::MakeRoom(const GETMessageType &datagram)
{
    const std::size_t needed = PlacesOf(datagram);
    std::list<GETMessageType> dropped;
    while (mPlaces + needed > mMaxPlaces) {
        mReport.NoteFull(mEnvironment);
        if (mByPlaces.empty() ||
            mByPlaces.rbegin()->first <= PlacesHeldBy(datagram.holder) + needed) {
            for (GETMessageType &kept : dropped) {
                AddNewest(std::move(kept));
            }
            return false;
        }
        TakeNewest(mHolders.find(mByPlaces.rbegin()->second), dropped);
    }
    return true;
}

void DelayedQueue::AddNewest(GETMessageType datagram)
{
    const Holder holder = mHolders.try_emplace(datagram.holder).first;
    const std::size_t places = PlacesOf(datagram);
    holder->second.datagrams.push_back(std::move(datagram));
    ChangePlaces(holder, places, 0);
}

void DelayedQueue::AddOldest(GETMessageType datagram)
{
    const Holder holder = mHolders.try_emplace(datagram.holder).first;
    const std::size_t places = PlacesOf(datagram);
    holder->second.datagrams.push_front(std::move(datagram));
    ChangePlaces(holder, places, 0);
}

// Moves a holder's newest datagram to the front of a list. Not an older one, because an
// older one would be sent sooner.
void DelayedQueue::TakeNewest(Holder holder, std::list<GETMessageType> &to)
{
    std::list<GETMessageType> &datagrams = holder->second.datagrams;
    to.splice(to.begin(), datagrams, std::prev(datagrams.end()));
    ChangePlaces(holder, 0, PlacesOf(to.front()));
}

// Updates the sums. An address without a datagram is forgotten: otherwise a flood
// from forged addresses would fill the memory.
void DelayedQueue::ChangePlaces(Holder holder, std::size_t gained, std::size_t lost)
{
    const in_addr_t address = holder->first;
    std::size_t &places = holder->second.places;
    mByPlaces.erase({places, address});
    places = places + gained - lost;
    mPlaces = mPlaces + gained - lost;
    if (places != 0) {
        mByPlaces.insert({places, address});
    } else {
        mHolders.erase(holder);
    }
}

std::list<GETMessageType> DelayedQueue::TakeDue(std::uint32_t elapsedMs)
{
    std::list<GETMessageType> due;
    // ChangePlaces may erase the holder, so the iterator moves on first.
    for (auto holder = mHolders.begin(); holder != mHolders.end();) {
        std::list<GETMessageType> &datagrams = holder->second.datagrams;
        std::size_t taken = 0;
        for (auto datagram = datagrams.begin(); datagram != datagrams.end();) {
            const auto next = std::next(datagram);
            if (datagram->delay > elapsedMs) {
                datagram->delay -= elapsedMs;
            } else {
                taken += PlacesOf(*datagram);
                due.splice(due.end(), datagrams, datagram);
            }
            datagram = next;
        }
        ChangePlaces(holder++, 0, taken);
    }
    // Holders are stored by address, but datagrams leave in the order of Add.
    due.sort([](const auto &a, const auto &b) { return a.order < b.order; });
    return due;
}

// The first datagrams of all addresses go first next time, then the second ones, and so
// on. Otherwise one address could fill the send buffer at each tick.
void DelayedQueue::PutBack(std::list<GETMessageType> unsent)
{
    std::map<in_addr_t, std::uint64_t> seen;
    for (GETMessageType &datagram : unsent) {
        datagram.order = seen[datagram.holder]++;
    }
    unsent.sort([](const auto &a, const auto &b) { return a.order < b.order; });
    for (auto datagram = unsent.rbegin(); datagram != unsent.rend(); ++datagram) {
        datagram->delay = 0;
        datagram->order = --mFirstOrder;
        if (++datagram->ticksOverdue <= kTicksToWaitForRoom) {
            AddOldest(std::move(*datagram));
        }
    }
}

void DelayedQueue::Clear()
{
    mHolders.clear();
    mByPlaces.clear();
    mPlaces = 0;
}

std::size_t DelayedQueue::Size() const
{
    std::size_t size = 0;
    for (const auto &[address, held] : mHolders) {
        size += held.datagrams.size();
    }
    return size;
}

} // namespace ssdp
