#pragma once

// The host's state publisher: subscribers of a full key get updateDirect(key,
// value) on each change of it. No lock of the publisher is held while a
// subscriber runs; an unsubscribe waits until calls to that subscriber on
// other threads have returned, so that its owner may go away right after.

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "panelmfd/HostInterfaces.h"
#include "panelmfd/PDLStateSubscriber.h"

namespace panelhost {

class Recorder;
class StateTable;

class Publisher : public IPSPublisher {
public:
    Publisher(Recorder& recorder, StateTable& table);

    IInterface* queryInterface(unsigned int id) override;
    void subscribe(const std::string& key, std::shared_ptr<PDLStateSubscriber> subscriber) override;
    void unsubscribe(const std::string& key, std::shared_ptr<PDLStateSubscriber> subscriber) override;
    std::string getValue(const std::string& key) override;

    // Delivers a change of a full key to its subscribers.
    void notify(const std::string& key, const std::string& value);

    size_t subscriberCount(const std::string& key) const;
    size_t subscriptionCount() const;
    // Drops every subscription (a fresh start).
    void clear();

private:
    struct InFlight {
        const PDLStateSubscriber* subscriber;
        std::thread::id thread;
    };

    Recorder& m_recorder;
    StateTable& m_table;
    mutable std::mutex m_mutex;
    std::condition_variable m_done;
    std::multimap<std::string, std::shared_ptr<PDLStateSubscriber>> m_subscriptions;
    std::vector<InFlight> m_inFlight;
};

} // namespace panelhost
