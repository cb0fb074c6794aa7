#include "publisher.h"

#include "recorder.h"
#include "statetable.h"
#include "textutil.h"

namespace panelhost {

Publisher::Publisher(Recorder& recorder, StateTable& table) : m_recorder(recorder), m_table(table) {}

IInterface* Publisher::queryInterface(unsigned int)
{
    return nullptr;
}

void Publisher::subscribe(const std::string& key, std::shared_ptr<PDLStateSubscriber> subscriber)
{
    m_recorder.append(Stream::Calls, Entry{{"IPSPublisher.subscribe", key}, "IPSPublisher.subscribe " + quoteWord(key)});
    if (!subscriber) return;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_subscriptions.emplace(key, std::move(subscriber));
}

void Publisher::unsubscribe(const std::string& key, std::shared_ptr<PDLStateSubscriber> subscriber)
{
    m_recorder.append(Stream::Calls,
                      Entry{{"IPSPublisher.unsubscribe", key}, "IPSPublisher.unsubscribe " + quoteWord(key)});
    if (!subscriber) return;
    const PDLStateSubscriber* target = subscriber.get();
    std::unique_lock<std::mutex> lock(m_mutex);
    auto range = m_subscriptions.equal_range(key);
    for (auto it = range.first; it != range.second;) {
        if (it->second.get() == target) it = m_subscriptions.erase(it);
        else ++it;
    }
    const auto self = std::this_thread::get_id();
    m_done.wait(lock, [&] {
        for (const auto& f : m_inFlight)
            if (f.subscriber == target && f.thread != self) return false;
        return true;
    });
}

std::string Publisher::getValue(const std::string& key)
{
    m_recorder.append(Stream::Calls, Entry{{"IPSPublisher.getValue", key}, "IPSPublisher.getValue " + quoteWord(key)});
    return m_table.text(key);
}

void Publisher::notify(const std::string& key, const std::string& value)
{
    std::vector<std::shared_ptr<PDLStateSubscriber>> targets;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto range = m_subscriptions.equal_range(key);
        for (auto it = range.first; it != range.second; ++it) targets.push_back(it->second);
    }
    const auto self = std::this_thread::get_id();
    for (const auto& target : targets) {
        {
            // Still subscribed? Mark the call as running in the same step, so
            // that an unsubscribe either comes first or waits for it.
            std::lock_guard<std::mutex> lock(m_mutex);
            bool present = false;
            auto range = m_subscriptions.equal_range(key);
            for (auto it = range.first; it != range.second; ++it)
                if (it->second == target) present = true;
            if (!present) continue;
            m_inFlight.push_back(InFlight{target.get(), self});
        }
        if (!target->useEventManager()) target->updateDirect(key, value);
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            for (auto it = m_inFlight.begin(); it != m_inFlight.end(); ++it) {
                if (it->subscriber == target.get() && it->thread == self) {
                    m_inFlight.erase(it);
                    break;
                }
            }
        }
        m_done.notify_all();
    }
}

size_t Publisher::subscriberCount(const std::string& key) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_subscriptions.count(key);
}

size_t Publisher::subscriptionCount() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_subscriptions.size();
}

void Publisher::clear()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_subscriptions.clear();
}

} // namespace panelhost
