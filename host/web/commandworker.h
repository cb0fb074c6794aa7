#pragma once

// Runs what the live panel's pages ask for, in order, on a thread of its own:
// console lines through a ScriptRunner (one command at a time with the console
// and the script, by the host's command lock) and the mouse's button gestures
// (down runs the host's button chain without the release; hold and release
// are the script's `hold` and `release`). Each outcome is handed to `reply`.

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "webrequest.h"

namespace panelhost {
class Host;
}

namespace panelhost::web {

class CommandWorker {
public:
    using Reply = std::function<void(const std::string&)>;
    CommandWorker(Host& host, Reply reply);
    ~CommandWorker();
    CommandWorker(const CommandWorker&) = delete;
    CommandWorker& operator=(const CommandWorker&) = delete;

    // Queues a message (at most kMaxQueued wait; more are refused with a reply).
    void submit(Message message);
    // Runs what is queued, then ends the thread. Idempotent.
    void stop();

    static constexpr size_t kMaxQueued = 256;

private:
    void run();
    void handle(const Message& message);
    void line(const std::string& text);
    void down(const std::string& widget);

    Host& m_host;
    Reply m_reply;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<Message> m_queue;
    bool m_stopping = false;
    std::thread m_thread;
};

} // namespace panelhost::web
