// The turn at publishing a table of state, and the publishing threads' count.

#include "publishturn.h"

namespace {

// Turns held by this thread, over every table.
thread_local int t_turnsHeld = 0;

} // namespace

bool PublishTurn::take(std::unique_lock<std::mutex>& lock, uint64_t need)
{
    if (!m_held) {
        m_held = true;
        ++t_turnsHeld;
        return true;
    }
    if (t_turnsHeld == 0) m_changeOut.wait(lock, [&] { return m_done >= need || !m_held; });
    return false;
}

void PublishTurn::published(uint64_t count)
{
    if (count > m_done) m_done = count;
    m_changeOut.notify_all();
}

void PublishTurn::release()
{
    m_held = false;
    --t_turnsHeld;
    m_changeOut.notify_all();
}

PublishTurn::Holder::~Holder()
{
    if (!m_held) return;
    std::lock_guard<std::mutex> guard(m_lock);
    m_turn.release();
}
