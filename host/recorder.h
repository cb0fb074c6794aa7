#pragma once

// The recorded streams of a host run (host calls, state changes, events, FIDs
// sent, notifications, the module's standard output and log lines), each with
// the cursor that the script checks move along.

#include <array>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace panelhost {

class Narrator;

enum class Stream { Calls, Changes, Events, Sent, Notify, Stdout, Log };
constexpr size_t kStreamCount = 7;
const char* streamName(Stream stream);

// One recorded item: its fields for matching and its text as shown.
//  Calls:   "Iface.op", then the arguments as plain texts
//  Changes: full key, value, "set" or "unset", type ("text", "int", "bool", "float")
//  Events:  name, value
//  Sent:    full name, source widget W.G.M.N, then name and value of each parameter
//  Notify:  widget W.G.M.N, word
//  Stdout:  the line
//  Log:     the line "LEVEL Category: message", the level name
struct Entry {
    std::vector<std::string> fields;
    std::string text;
};

class Recorder {
public:
    using Match = std::function<bool(const Entry&)>;

    explicit Recorder(Narrator* narrator = nullptr) : m_narrator(narrator) {}

    // Records the entry; narrates it under `tag` unless the tag is empty, with
    // `note` in words beside it.
    void append(Stream stream, Entry entry, const std::string& tag = std::string(),
                const std::string& note = std::string());

    size_t size(Stream stream) const;
    std::vector<Entry> entries(Stream stream, size_t from = 0) const;

    // The first index >= from whose entry matches, waiting up to timeoutMs for
    // one to arrive; nullopt if none did.
    std::optional<size_t> waitFor(Stream stream, size_t from, const Match& match, int timeoutMs) const;

    size_t cursor(Stream stream) const;
    void setCursor(Stream stream, size_t position);

    // Forgets everything (a fresh start).
    void clear();

private:
    Narrator* m_narrator;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::array<std::vector<Entry>, kStreamCount> m_streams;
    std::array<size_t, kStreamCount> m_cursors{};
};

} // namespace panelhost
