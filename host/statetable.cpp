#include "statetable.h"

#include <sstream>
#include <vector>

#include "publisher.h"
#include "recorder.h"
#include "textutil.h"

namespace panelhost {

StateTable::StateTable(Recorder& recorder, Publisher* publisher) : m_recorder(recorder), m_publisher(publisher) {}

void StateTable::setPrefix(const std::string& prefix)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_prefix = prefix;
}

std::string StateTable::prefix() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_prefix;
}

void StateTable::setPublisher(Publisher* publisher)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_publisher = publisher;
}

IInterface* StateTable::queryInterface(unsigned int)
{
    return nullptr;
}

void StateTable::recordCall(const std::string& op, const std::string& args)
{
    Entry e;
    e.fields.push_back("IPanelState." + op);
    std::vector<Word> words;
    std::string error;
    splitWords(args, words, error);
    for (auto& w : words) e.fields.push_back(w.text);
    e.text = "IPanelState." + op + " " + args;
    m_recorder.append(Stream::Calls, std::move(e));
}

void StateTable::setStateValue(const std::string& key, const std::string& value)
{
    recordCall("setStateValue", quoteWord(key) + " " + quoteWord(value));
    store(prefix() + "." + key, value, "text");
}

void StateTable::setStateValueFloat(const std::string& key, float value)
{
    std::ostringstream os;
    os << value;
    recordCall("setStateValueFloat", quoteWord(key) + " " + os.str());
    store(prefix() + "." + key, os.str(), "float");
}

void StateTable::setStateValueInt(const std::string& key, int value)
{
    recordCall("setStateValueInt", quoteWord(key) + " " + std::to_string(value));
    store(prefix() + "." + key, std::to_string(value), "int");
}

void StateTable::setStateValueBool(const std::string& key, bool value)
{
    recordCall("setStateValueBool", quoteWord(key) + (value ? " true" : " false"));
    store(prefix() + "." + key, value ? "TRUE" : "FALSE", "bool");
}

void StateTable::publish(const std::string& fullKey, const std::string& value)
{
    store(fullKey, value, "text");
}

void StateTable::store(const std::string& fullKey, const std::string& text, const std::string& type)
{
    bool changed;
    Publisher* publisher;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto it = m_values.find(fullKey);
        changed = it == m_values.end() || it->second.text != text;
        m_values[fullKey] = StateValue{text, type};
        publisher = m_publisher;
    }
    Entry e;
    e.fields = {fullKey, text, "set", type};
    e.text = fullKey + " = " + quoteWord(text);
    // Narrate only what differs from before, so that a periodic refresh of the
    // same value doesn't drown the story.
    m_recorder.append(Stream::Changes, std::move(e), changed ? "state" : "");
    if (publisher) publisher->notify(fullKey, text);
}

void StateTable::unsetStateValue(const std::string& key)
{
    recordCall("unsetStateValue", quoteWord(key));
    const std::string full = prefix() + "." + key;
    std::vector<std::string> removed;
    Publisher* publisher;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        publisher = m_publisher;
        if (endsWith(full, ".*")) {
            const std::string below = full.substr(0, full.size() - 1); // keeps the "."
            for (auto it = m_values.lower_bound(below); it != m_values.end() && startsWith(it->first, below);) {
                removed.push_back(it->first);
                it = m_values.erase(it);
            }
        } else if (m_values.erase(full) > 0) {
            removed.push_back(full);
        }
    }
    if (endsWith(full, ".*")) {
        Entry e;
        e.fields = {full, "", "unset", ""};
        e.text = full + " unset (" + std::to_string(removed.size()) + " keys)";
        m_recorder.append(Stream::Changes, std::move(e), "state");
    }
    for (const auto& k : removed) {
        Entry e;
        e.fields = {k, "", "unset", ""};
        e.text = k + " unset";
        m_recorder.append(Stream::Changes, std::move(e), endsWith(full, ".*") ? "" : "state");
        if (publisher) publisher->notify(k, "");
    }
}

void StateTable::triggerEvent(const std::string& event, const std::string& value)
{
    recordCall("triggerEvent", quoteWord(event) + " " + quoteWord(value));
    Entry e;
    e.fields = {event, value};
    e.text = event + " = " + quoteWord(value);
    m_recorder.append(Stream::Events, std::move(e), "event");
}

std::optional<StateValue> StateTable::value(const std::string& fullKey) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_values.find(fullKey);
    if (it == m_values.end()) return std::nullopt;
    return it->second;
}

std::string StateTable::text(const std::string& fullKey) const
{
    auto v = value(fullKey);
    return v ? v->text : std::string();
}

std::map<std::string, StateValue> StateTable::snapshot() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_values;
}

void StateTable::clear()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_values.clear();
}

} // namespace panelhost
