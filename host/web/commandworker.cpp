#include "commandworker.h"

#include "buttonchain.h"
#include "panelhost.h"
#include "scriptparser.h"
#include "scriptrunner.h"
#include "textutil.h"

namespace panelhost::web {

CommandWorker::CommandWorker(Host& host, Reply reply) : m_host(host), m_reply(std::move(reply))
{
    m_thread = std::thread([this] { run(); });
}

CommandWorker::~CommandWorker()
{
    stop();
}

void CommandWorker::submit(Message message)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_stopping && m_queue.size() < kMaxQueued) {
            m_queue.push_back(std::move(message));
            m_wake.notify_one();
            return;
        }
    }
    m_reply("refused (too many waiting): " + message.text);
}

void CommandWorker::stop()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_one();
    if (m_thread.joinable()) m_thread.join();
}

void CommandWorker::run()
{
    for (;;) {
        Message next;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_wake.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
            if (m_queue.empty()) return;
            next = std::move(m_queue.front());
            m_queue.pop_front();
        }
        handle(next);
    }
}

void CommandWorker::handle(const Message& message)
{
    switch (message.kind) {
    case MessageKind::Line: line(message.text); return;
    case MessageKind::Down: down(message.text); return;
    case MessageKind::Hold: line("hold " + message.text); return;
    case MessageKind::Release: line("release " + message.text); return;
    case MessageKind::Invalid: m_reply("refused: " + message.text); return;
    }
}

void CommandWorker::line(const std::string& text)
{
    const std::string t = trim(text);
    if (t.empty()) return;
    m_host.narrator().echo("web", t);
    m_reply("> " + t);
    if (t == "help") {
        m_reply("Any line of a scenario script: fid NAME K=V @W.G.M.N, press W.G.M.N, publish KEY = VALUE, "
                "sim KNOB = VALUE, shell CMD, expect ..., start | restart | stop (see host/README.md). "
                "Tab completes command words and FID names.");
        return;
    }
    if (t == "quit" || t == "exit") {
        m_reply("quit is for the terminal");
        return;
    }
    const Script script = parseScript(t);
    for (const auto& e : script.errors) {
        m_host.narrator().always("web: " + e.message);
        m_reply("malformed: " + e.message);
    }
    if (!script.errors.empty()) return;
    ScriptRunner runner(m_host, "web");
    for (const auto& c : script.commands) {
        const StepResult r = runner.execute(c);
        if (!r.ok) {
            m_host.narrator().always("failed: " + r.message);
            m_reply("failed: " + r.message);
        } else {
            m_reply(c.kind == CommandKind::Expect ? "ok" : "done");
        }
    }
}

// A button going down under the mouse: the host's chain, without the release
// (that comes when the mouse button does).
void CommandWorker::down(const std::string& widget)
{
    const auto w = parseWidget(widget);
    if (!w) {
        m_reply("refused: a widget W.G.M.N");
        return;
    }
    m_host.narrator().echo("web", "mouse down " + widget);
    std::lock_guard<std::mutex> lock(m_host.commandMutex());
    if (!m_host.running()) {
        std::string error;
        if (!m_host.start(m_host.lastStart(), error)) {
            m_reply("failed: the module did not start: " + error);
            return;
        }
    }
    IMacroSystem* ms = m_host.module().macroSystem();
    if (!ms) {
        m_reply("failed: the module answers null for 1107 (no macro system)");
        return;
    }
    runButtonChain(m_host, *ms, *w, false);
    m_host.syncStdout();
    m_reply("down " + widget + ": done");
}

} // namespace panelhost::web
