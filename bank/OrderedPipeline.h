// OrderedPipeline.h - makes items on helper threads and hands them over in order.
#pragma once

#include <exception>
#include <functional>
#include <new>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "shared/System/kvMutex.h"

namespace Kestrova {

// Items 0 to nCount - 1, each made once by make(index, helper). The helper number (below nHelpers, or 0)
// tells which thread is at work, so that each thread can use resources of its own. At most nAhead items are
// made and not yet taken. When the system cannot start all threads, fewer helpers make the same items.
// Without any helper, Take makes each item itself, as helper 0.
//
// Threads: make runs on the helpers; everything else belongs to one thread.
// Owner:   a taken item belongs to the caller. Those never taken are destroyed with
//          the pipeline, which waits for its helpers.
// Errors:  Take throws what make threw for its item. The constructor may throw std::bad_alloc.
template <class TItem>
class OrderedPipeline {
public:
    using Make = std::function<TItem(size_t nIndex, unsigned nHelper)>;

    OrderedPipeline(size_t nCount, unsigned nHelpers, size_t nAhead, Make make)
        : m_nCount(nCount), m_nAhead(nAhead), m_make(std::move(make)), m_arSlots(nAhead) {
        try {
            for (unsigned nHelper = 0; nHelper < nHelpers && nHelper < nCount; ++nHelper)
                m_arHelpers.emplace_back([this, nHelper] { Help(nHelper); });
        } catch (const std::system_error&) {
            // no further thread
        } catch (const std::bad_alloc&) {
            // no memory for one
        }
    }

    ~OrderedPipeline() {
        {
            const MutexGuard guard(m_lock);
            m_bStop = true;
        }
        m_roomOrStop.NotifyAll();
        for (std::thread& helper : m_arHelpers) helper.join();
    }
    OrderedPipeline(const OrderedPipeline&) = delete;
    OrderedPipeline& operator=(const OrderedPipeline&) = delete;

    // The next item in order. REQUIRES: fewer than nCount taken so far.
    TItem Take() {
        MutexGuard guard(m_lock);
        if (m_arHelpers.empty()) {
            const size_t nIndex = m_nTaken++;
            guard.Unlock();
            return m_make(nIndex, 0);
        }
        Slot& slot = m_arSlots[m_nTaken % m_nAhead];
        m_made.Wait(guard, [&slot] { return slot.item.has_value() || slot.pThrown != nullptr; });
        Slot taken = std::exchange(slot, {});
        ++m_nTaken;
        guard.Unlock();
        m_roomOrStop.NotifyAll();
        return std::move(taken).Get();
    }

private:
    // An item that was made, or what was thrown instead; empty until then.
    struct Slot {
        std::optional<TItem> item;
        std::exception_ptr pThrown;

        TItem Get() && {
            if (pThrown != nullptr) std::rethrow_exception(pThrown);
            return std::move(*item);
        }
    };

    Slot MakeSlot(size_t nIndex, unsigned nHelper) const {
        try {
            return {m_make(nIndex, nHelper), nullptr};
        } catch (...) {
            return {std::nullopt, std::current_exception()};
        }
    }

    void Help(unsigned nHelper) {
        MutexGuard guard(m_lock);
        for (;;) {
            m_roomOrStop.Wait(
                guard, [this]() KV_REQUIRES(m_lock) { return m_bStop || m_nStarted < m_nTaken + m_nAhead; });
            if (m_bStop || m_nStarted == m_nCount) return;
            const size_t nIndex = m_nStarted++;
            guard.Unlock();
            Slot slot = MakeSlot(nIndex, nHelper);
            guard.Lock();
            m_arSlots[nIndex % m_nAhead] = std::move(slot);
            m_made.NotifyOne();
        }
    }

    const size_t m_nCount;
    const size_t m_nAhead;
    const Make m_make;

    Mutex m_lock;
    Condition m_made;
    Condition m_roomOrStop;
    std::vector<Slot> m_arSlots KV_GUARDED_BY(m_lock);  // item i waits at i modulo nAhead
    size_t m_nStarted KV_GUARDED_BY(m_lock) = 0;
    size_t m_nTaken KV_GUARDED_BY(m_lock) = 0;
    bool m_bStop KV_GUARDED_BY(m_lock) = false;
    std::vector<std::thread> m_arHelpers;  // constant after construction
};

}  // namespace Kestrova
