#include "simmainframe.h"

#include <vector>

#include "knobs.h"
#include "statetable.h"
#include "textutil.h"

namespace panelhost {

SimMainframe::SimMainframe(StateTable& table, Knobs& knobs) : m_table(table), m_knobs(knobs)
{
    m_thread = std::thread([this] { run(); });
}

SimMainframe::~SimMainframe()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
        m_pending.clear();
    }
    m_wake.notify_all();
    if (m_thread.joinable()) m_thread.join();
}

bool SimMainframe::isActive(const std::string& driverId) const
{
    return m_knobs.get("mfd." + driverId, "passive") == "active";
}

size_t SimMainframe::receivedCount(const std::string& driverId) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_received.find(driverId);
    return it == m_received.end() ? 0 : it->second;
}

void SimMainframe::cancelPending()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_pending.clear();
}

void SimMainframe::receive(const std::string& driverId, const std::string& name, const FIDParameterList& params)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_received[driverId];
    }
    if (!isActive(driverId)) return;
    const std::string rest = name.substr(driverId.size());
    std::string regText;
    if (!params.getValue("REG", regText)) return;
    auto reg = parseInteger(regText);
    if (!reg || *reg < 0 || *reg > 9999) return;
    const int n = static_cast<int>(*reg);
    const std::string statusKey = driverId + ".MACRO.REG" + std::to_string(n) + ".STATUS";
    const auto playTime =
        std::chrono::milliseconds(parseInteger(m_knobs.get("mfd." + driverId + ".playms", "1000")).value_or(1000));
    const std::string slot = driverId + "/" + std::to_string(n);
    unsigned generation;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        generation = ++m_generations[slot];
    }
    const auto now = Clock::now();
    if (endsWith(rest, ".MACRO.RECALL") || rest == ".MACRO.RESUME") {
        schedule(now, Answer{statusKey, "PLAY", driverId, n, generation});
        if (endsWith(rest, ".MACRO.RECALL"))
            schedule(now, Answer{driverId + ".MACRO.CURRENT.REG", std::to_string(n), driverId, n, generation});
        schedule(now + playTime, Answer{statusKey, "STOP", driverId, n, generation});
    } else if (rest == ".MACRO.STOP") {
        schedule(now, Answer{statusKey, "STOP", driverId, n, generation});
    }
}

void SimMainframe::schedule(Clock::time_point when, Answer answer)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_stopping) return;
        m_pending.emplace(when, std::move(answer));
    }
    m_wake.notify_all();
}

void SimMainframe::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stopping) {
        if (m_pending.empty()) {
            m_wake.wait(lock);
            continue;
        }
        auto first = m_pending.begin();
        // A copy: the entry may go while we wait without the lock.
        const Clock::time_point due = first->first;
        if (Clock::now() < due) {
            m_wake.wait_until(lock, due);
            continue;
        }
        Answer answer = std::move(first->second);
        m_pending.erase(first);
        const bool current = m_generations[answer.driver + "/" + std::to_string(answer.reg)] == answer.generation;
        if (!current) continue;
        // Publishing reaches the module's subscribers: never under our lock.
        lock.unlock();
        m_table.publish(answer.key, answer.value);
        lock.lock();
    }
}

} // namespace panelhost
