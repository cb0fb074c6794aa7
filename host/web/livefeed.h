#pragma once

// What the live panel's pages are told: the state table with the time of each
// key's last change, the widgets' looks (their own attributes and every
// layer), the tails of the streams, the widgets the module touched, and the
// answers to lines typed on the page. `update` gathers what changed since the
// last call into one message (the server calls it every 50 ms, so that a burst
// of thousands of keys reaches the page as a few messages); `hello` gives a
// new page everything as of the last update. Both run on the server's thread;
// `addReply` may be called from any thread.

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace panelhost {
class Host;
}

namespace panelhost::web {

struct FeedSettings {
    std::string layout;                // a JSON document, as text
    std::vector<std::string> fidNames; // local FID names, for completion
    size_t tailLength = 300;           // stream entries a page keeps
};

class LiveFeed {
public:
    LiveFeed(Host& host, FeedSettings settings);

    std::string hello() const;
    // One "update" message, or the empty text when nothing changed.
    std::string update();
    void addReply(const std::string& text);

    // The streams a page sees, by name ("event", "sent", "notify", "call", "log", "stdout").
    static const std::vector<std::string>& streamNames();

private:
    struct Key {
        std::string value;
        std::string type;
        long long changedMs = 0;
    };
    struct Tail {
        size_t position = 0;          // entries of the recorder already taken
        std::deque<std::string> last; // the newest texts
    };

    void updateState(std::string& out, long long now);
    void updateLooks(std::string& out);
    void updateStreams(std::string& out);
    void touch(const std::string& widget);
    static void appendKey(std::string& out, const std::string& name, const Key& key);

    Host& m_host;
    FeedSettings m_settings;
    size_t m_changesSeen = static_cast<size_t>(-1);
    size_t m_callsSeen = static_cast<size_t>(-1);
    unsigned m_ticks = 0;
    std::map<std::string, Key> m_state;
    std::map<uint32_t, std::string> m_looks; // widget word -> its looks as JSON
    std::vector<Tail> m_tails;
    std::set<std::string> m_touched;
    std::vector<std::string> m_newlyTouched;

    mutable std::mutex m_replyMutex;
    std::vector<std::string> m_replies;
};

} // namespace panelhost::web
