#include "livefeed.h"

#include <chrono>
#include <iterator>

#include "panelhost.h"
#include "panelkit/UniqueWidgetID.h"
#include "scriptparser.h"
#include "textutil.h"
#include "webjson.h"

namespace panelhost::web {

namespace {

const Stream kStreams[] = {Stream::Events, Stream::Sent, Stream::Notify, Stream::Calls, Stream::Log, Stream::Stdout};

// Every so many ticks the state and the looks are compared whole, even when
// no change was recorded (a restart forgets them without a record).
constexpr unsigned kFullCompareTicks = 20;

long long nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string looksJson(const std::map<std::string, WidgetControl::Attributes>& layers)
{
    std::string out = "{";
    bool firstLayer = true;
    for (const auto& [layer, attributes] : layers) {
        if (!firstLayer) out += ',';
        firstLayer = false;
        appendJsonString(out, layer.empty() ? "own" : layer);
        out += ":{";
        bool first = true;
        for (const auto& [name, value] : attributes) {
            if (!first) out += ',';
            first = false;
            appendJsonString(out, name);
            out += ':';
            appendJsonString(out, value);
        }
        out += '}';
    }
    return out + "}";
}

void appendList(std::string& out, const std::vector<std::string>& items)
{
    out += '[';
    for (size_t i = 0; i < items.size(); ++i) {
        if (i) out += ',';
        appendJsonString(out, items[i]);
    }
    out += ']';
}

} // namespace

const std::vector<std::string>& LiveFeed::streamNames()
{
    static const std::vector<std::string> kNames = [] {
        std::vector<std::string> names;
        for (Stream s : kStreams) names.push_back(streamName(s));
        return names;
    }();
    return kNames;
}

LiveFeed::LiveFeed(Host& host, FeedSettings settings)
    : m_host(host), m_settings(std::move(settings)), m_tails(std::size(kStreams))
{
}

void LiveFeed::addReply(const std::string& text)
{
    std::lock_guard<std::mutex> lock(m_replyMutex);
    if (m_replies.size() < 1000) m_replies.push_back(text);
}

void LiveFeed::appendKey(std::string& out, const std::string& name, const Key& key)
{
    out += '[';
    appendJsonString(out, name);
    out += ',';
    appendJsonString(out, key.value);
    out += ',';
    appendJsonString(out, key.type);
    out += ',' + std::to_string(key.changedMs) + ']';
}

void LiveFeed::touch(const std::string& widget)
{
    if (m_touched.insert(widget).second) m_newlyTouched.push_back(widget);
}

void LiveFeed::updateState(std::string& out, long long now)
{
    const size_t changes = m_host.recorder().size(Stream::Changes);
    if (changes == m_changesSeen && m_ticks % kFullCompareTicks != 0) return;
    m_changesSeen = changes;
    const auto snapshot = m_host.state().snapshot();
    std::string items;
    auto add = [&](const std::string& text) {
        if (!items.empty()) items += ',';
        items += text;
    };
    // Both maps are sorted: one walk finds the new, changed and gone keys.
    auto old = m_state.begin();
    for (const auto& [name, value] : snapshot) {
        while (old != m_state.end() && old->first < name) {
            std::string gone = "[";
            appendJsonString(gone, old->first);
            add(gone + ",null]");
            old = m_state.erase(old);
        }
        if (old != m_state.end() && old->first == name) {
            if (old->second.value != value.text || old->second.type != value.type) {
                old->second = Key{value.text, value.type, now};
                std::string one;
                appendKey(one, name, old->second);
                add(one);
            }
            ++old;
        } else {
            old = m_state.emplace_hint(old, name, Key{value.text, value.type, now});
            std::string one;
            appendKey(one, name, old->second);
            add(one);
            ++old;
        }
    }
    while (old != m_state.end()) {
        std::string gone = "[";
        appendJsonString(gone, old->first);
        add(gone + ",null]");
        old = m_state.erase(old);
    }
    if (!items.empty()) out += ",\"state\":[" + items + "]";
}

void LiveFeed::updateLooks(std::string& out)
{
    const size_t calls = m_host.recorder().size(Stream::Calls);
    if (calls == m_callsSeen && m_ticks % kFullCompareTicks != 0) return;
    m_callsSeen = calls;
    std::map<uint32_t, std::string> now;
    for (const auto& [widget, layers] : m_host.widgets().looks()) now[widget] = looksJson(layers);
    std::string items;
    auto add = [&](uint32_t widget, const std::string& json) {
        if (!items.empty()) items += ',';
        appendJsonString(items, widgetText(UniqueWidgetID(widget)));
        items += ':' + json;
    };
    for (const auto& [widget, json] : now) {
        auto it = m_looks.find(widget);
        if (it == m_looks.end() || it->second != json) add(widget, json);
        touch(widgetText(UniqueWidgetID(widget)));
    }
    for (const auto& [widget, json] : m_looks)
        if (!now.count(widget)) add(widget, "null");
    m_looks = std::move(now);
    if (!items.empty()) out += ",\"looks\":{" + items + "}";
}

void LiveFeed::updateStreams(std::string& out)
{
    std::string items;
    for (size_t i = 0; i < std::size(kStreams); ++i) {
        Tail& tail = m_tails[i];
        const Stream stream = kStreams[i];
        if (m_host.recorder().size(stream) < tail.position) tail.position = 0; // forgotten
        const auto entries = m_host.recorder().entries(stream, tail.position);
        if (entries.empty()) continue;
        tail.position += entries.size();
        for (const auto& e : entries) {
            if (stream == Stream::Notify && !e.fields.empty()) touch(e.fields[0]);
            if (stream == Stream::Calls && !e.fields.empty() &&
                (startsWith(e.fields[0], "IPanelFeedback.") || startsWith(e.fields[0], "IWidgetManager."))) {
                for (size_t f = 1; f < e.fields.size(); ++f)
                    if (parseWidget(e.fields[f])) touch(e.fields[f]);
            }
        }
        const size_t skip = entries.size() > m_settings.tailLength ? entries.size() - m_settings.tailLength : 0;
        std::vector<std::string> texts;
        for (size_t k = skip; k < entries.size(); ++k) texts.push_back(entries[k].text);
        for (const auto& t : texts) tail.last.push_back(t);
        while (tail.last.size() > m_settings.tailLength) tail.last.pop_front();
        if (!items.empty()) items += ',';
        appendJsonString(items, streamName(stream));
        items += ":{\"skipped\":" + std::to_string(skip) + ",\"items\":";
        appendList(items, texts);
        items += '}';
    }
    if (!items.empty()) out += ",\"streams\":{" + items + "}";
}

std::string LiveFeed::update()
{
    const long long now = nowMs();
    std::string body;
    updateState(body, now);
    updateLooks(body);
    updateStreams(body);
    ++m_ticks;
    if (!m_newlyTouched.empty()) {
        body += ",\"touched\":";
        appendList(body, m_newlyTouched);
        m_newlyTouched.clear();
    }
    std::vector<std::string> replies;
    {
        std::lock_guard<std::mutex> lock(m_replyMutex);
        replies.swap(m_replies);
    }
    if (!replies.empty()) {
        body += ",\"replies\":";
        appendList(body, replies);
    }
    if (body.empty()) return std::string();
    return "{\"t\":\"update\",\"time\":" + std::to_string(now) + body + "}";
}

std::string LiveFeed::hello() const
{
    std::string out = "{\"t\":\"hello\",\"time\":" + std::to_string(nowMs());
    out += ",\"prefix\":";
    appendJsonString(out, m_host.options().prefix);
    out += ",\"layout\":" + m_settings.layout;
    out += ",\"fids\":";
    appendList(out, m_settings.fidNames);
    out += ",\"words\":";
    std::vector<std::string> words = commandWords();
    words.push_back("names");
    words.push_back("help");
    appendList(out, words);
    out += ",\"state\":[";
    bool first = true;
    for (const auto& [name, key] : m_state) {
        if (!first) out += ',';
        first = false;
        appendKey(out, name, key);
    }
    out += "],\"looks\":{";
    first = true;
    for (const auto& [widget, json] : m_looks) {
        if (!first) out += ',';
        first = false;
        appendJsonString(out, widgetText(UniqueWidgetID(widget)));
        out += ':' + json;
    }
    out += "},\"streams\":{";
    for (size_t i = 0; i < std::size(kStreams); ++i) {
        if (i) out += ',';
        appendJsonString(out, streamName(kStreams[i]));
        out += ":{\"skipped\":0,\"items\":";
        appendList(out, std::vector<std::string>(m_tails[i].last.begin(), m_tails[i].last.end()));
        out += '}';
    }
    out += "},\"touched\":";
    appendList(out, std::vector<std::string>(m_touched.begin(), m_touched.end()));
    return out + "}";
}

} // namespace panelhost::web
