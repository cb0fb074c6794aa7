#include "scriptrunner.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

#include "buttonchain.h"
#include "hostcall.h"
#include "modulecalls.h"
#include "oskit/CmdProcessor.h"
#include "panelhost.h"
#include "textutil.h"

namespace panelhost {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

StepResult failed(const std::string& message)
{
    return StepResult{false, message};
}

// Polls a condition until it holds or the time is up.
bool waitUntil(const std::function<bool()>& condition, long long ms)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(ms);
    for (;;) {
        if (condition()) return true;
        if (Clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

std::optional<std::string> readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream os;
    os << in.rdbuf();
    return os.str();
}

std::string shown(const std::string& bytes)
{
    std::string out;
    for (char ch : bytes) {
        if (ch == '\n') out += "\\n";
        else if (static_cast<unsigned char>(ch) < 32 || static_cast<unsigned char>(ch) > 126) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\x%02x", static_cast<unsigned char>(ch));
            out += buf;
        } else out += ch;
    }
    if (out.size() > 300) out = out.substr(0, 300) + "...";
    return out;
}

oskit::logbackend::Level levelOf(const std::string& word)
{
    using L = oskit::logbackend::Level;
    if (word == "DEBUG") return L::Debug;
    if (word == "INFO") return L::Info;
    if (word == "WARN") return L::Warn;
    if (word == "ERROR") return L::Error;
    if (word == "ALERT") return L::Alert;
    if (word == "FATAL") return L::Fatal;
    return L::Off;
}

bool needsModule(const Command& c)
{
    switch (c.kind) {
    case CommandKind::Fid:
    case CommandKind::Record:
    case CommandKind::Button:
    case CommandKind::Call:
    case CommandKind::Shell: return true;
    case CommandKind::Expect: return c.expect == ExpectKind::Get || c.expect == ExpectKind::Query;
    default: return false;
    }
}

} // namespace

ScriptRunner::ScriptRunner(Host& host, std::string source) : m_host(host), m_source(std::move(source)) {}

ScriptRunner::~ScriptRunner()
{
    for (auto& [path, fd] : m_locks) ::close(fd);
}

std::string ScriptRunner::substitute(const std::string& text) const
{
    std::string out = text;
    const std::string marker = "{run}";
    size_t at = 0;
    while ((at = out.find(marker, at)) != std::string::npos) {
        out.replace(at, marker.size(), m_host.runDir());
        at += m_host.runDir().size();
    }
    return out;
}

std::string ScriptRunner::filePath(const std::string& path) const
{
    const std::string p = substitute(path);
    if (!p.empty() && p[0] == '/') return p;
    return (fs::path(m_host.runDir()) / p).string();
}

int ScriptRunner::run(const Script& script)
{
    if (!script.errors.empty()) {
        for (const auto& e : script.errors) std::cerr << m_source << ":" << e.line << ": " << e.message << std::endl;
        return 2;
    }
    for (const auto& c : script.commands) {
        if (c.kind != CommandKind::Comment) m_host.narrator().echo(m_source + ":" + std::to_string(c.line), c.text);
        StepResult r = execute(c);
        if (!r.ok) {
            m_host.syncStdout();
            std::cerr << m_source << ":" << c.line << ": " << r.message << std::endl;
            return 1;
        }
    }
    return 0;
}

bool ScriptRunner::ensureStarted(StepResult& result)
{
    if (m_host.running()) return true;
    std::string error;
    if (m_host.start(m_host.lastStart(), error)) return true;
    result = failed("the module did not start: " + error);
    return false;
}

StepResult ScriptRunner::execute(const Command& c)
{
    if (c.kind == CommandKind::Comment) {
        if (c.line == m_lastCommentLine + 1) m_host.narrator().note(c.value);
        else m_host.narrator().heading(c.value);
        m_lastCommentLine = c.line;
        return {};
    }
    // One command at a time, whoever sends it (script, console, live panel).
    std::lock_guard<std::mutex> lock(m_host.commandMutex());
    StepResult r;
    if (needsModule(c) && !ensureStarted(r)) return r;
    if (c.kind == CommandKind::Expect) return expectation(c);
    return action(c);
}

StepResult ScriptRunner::action(const Command& c)
{
    Narrator& say = m_host.narrator();
    switch (c.kind) {
    case CommandKind::File: {
        const std::string path = filePath(c.path);
        std::error_code ec;
        const fs::path parent = fs::path(path).parent_path();
        if (!parent.empty()) fs::create_directories(parent, ec);
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        if (!out) return failed("cannot write the file " + path);
        if (c.nested) {
            const std::string open = "<" + c.name + ">";
            const std::string close = "</" + c.name + ">";
            for (long long i = 0; i < c.ms; ++i) out << open;
            for (long long i = 0; i < c.ms; ++i) out << close;
        } else {
            const std::string bytes = c.hex ? c.data : substitute(c.data);
            for (long long i = 0; i < c.ms; ++i) out << bytes;
        }
        out.close();
        if (!out) return failed("cannot write the file " + path);
        return {};
    }
    case CommandKind::Remove: {
        std::error_code ec;
        if (!fs::remove(filePath(c.path), ec) && ec) return failed("cannot remove " + c.path + ": " + ec.message());
        return {};
    }
    case CommandKind::Fifo: {
        const std::string path = filePath(c.path);
        std::error_code ec;
        const fs::path parent = fs::path(path).parent_path();
        if (!parent.empty()) fs::create_directories(parent, ec);
        if (::mkfifo(path.c_str(), 0644) != 0)
            return failed("cannot make the named pipe " + c.path + ": " + std::strerror(errno));
        return {};
    }
    case CommandKind::Symlink: {
        const std::string path = filePath(c.path);
        std::error_code ec;
        const fs::path parent = fs::path(path).parent_path();
        if (!parent.empty()) fs::create_directories(parent, ec);
        fs::create_symlink(fs::path(substitute(c.value)), fs::path(path), ec);
        if (ec) return failed("cannot make the symbolic link " + c.path + ": " + ec.message());
        return {};
    }
    case CommandKind::Mkdir: {
        std::error_code ec;
        fs::create_directories(filePath(c.path), ec);
        if (ec) return failed("cannot make the folder " + c.path + ": " + ec.message());
        return {};
    }
    case CommandKind::Lock: {
        const std::string path = filePath(c.path);
        if (m_locks.count(path)) return failed(c.path + " is locked already; unlock it first");
        const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        if (fd < 0) return failed("cannot open " + c.path + " to lock it");
        if (::flock(fd, (c.value == "shared" ? LOCK_SH : LOCK_EX) | LOCK_NB) != 0) {
            ::close(fd);
            return failed("cannot take a " + c.value + " lock on " + c.path + " (held by someone else)");
        }
        m_locks[path] = fd;
        return {};
    }
    case CommandKind::Unlock: {
        auto it = m_locks.find(filePath(c.path));
        if (it == m_locks.end()) return failed(c.path + " is not locked");
        ::flock(it->second, LOCK_UN);
        ::close(it->second);
        m_locks.erase(it);
        return {};
    }
    case CommandKind::Start: {
        if (m_host.running()) return failed("the module runs already (use restart)");
        StartOptions options;
        options.without.insert(c.without.begin(), c.without.end());
        if (c.workplaceFile) options.workplaceFile = substitute(*c.workplaceFile);
        options.skipPhases.insert(c.skipPhases.begin(), c.skipPhases.end());
        std::string error;
        if (!m_host.start(options, error)) return failed("the module did not start: " + error);
        return {};
    }
    case CommandKind::Restart: {
        std::string error;
        if (!m_host.restart(error)) return failed("the module did not start again: " + error);
        return {};
    }
    case CommandKind::Stop: m_host.stop(); return {};
    case CommandKind::Fid:
    case CommandKind::Record: {
        std::vector<std::string> words;
        for (const auto& a : c.args) words.push_back(substitute(a));
        FIDParameterList params;
        std::string error;
        if (!buildParams(words, params, error)) return failed("expected " + error);
        if (c.kind == CommandKind::Fid) {
            if (!m_host.sendFID(c.name, params)) return failed("no module runs to take the FID");
        } else {
            IMacroSystem* ms = m_host.module().macroSystem();
            if (!ms) return failed("record needs IMacroSystem, and the module answers null for 1107 (no macro system)");
            ms->recordFID(substitute(c.name), params);
        }
        m_host.syncStdout();
        return {};
    }
    case CommandKind::Button: return button(c);
    case CommandKind::Call: {
        std::vector<std::string> args;
        for (const auto& a : c.args) args.push_back(substitute(a));
        CallResult r = callModule(m_host.module(), c.name, args);
        if (!r.ok) return failed(r.error);
        if (!r.value.empty()) say.line("answer", r.value);
        m_host.syncStdout();
        return {};
    }
    case CommandKind::Publish: m_host.state().publish(substitute(c.name), substitute(c.value)); return {};
    case CommandKind::Attr: {
        auto w = parseWidget(c.widget);
        if (!w) return failed("expected a widget W.G.M.N");
        m_host.widgets().setOwnAttribute(*w, c.name, substitute(c.value));
        return {};
    }
    case CommandKind::Shell: {
        const bool answer = oskit::CmdProcessor::getInstance()->execute(substitute(c.value));
        m_host.syncStdout();
        say.line("answer", answer ? "true" : "false");
        return {};
    }
    case CommandKind::Sim: {
        std::string error;
        if (!m_host.setKnob(c.name, substitute(c.value), error)) return failed("expected " + error);
        return {};
    }
    case CommandKind::Wait: std::this_thread::sleep_for(std::chrono::milliseconds(c.ms)); return {};
    case CommandKind::LogLevel: say.setLogLevel(levelOf(c.value)); return {};
    case CommandKind::Comment:
    case CommandKind::Expect: break;
    }
    return {};
}

StepResult ScriptRunner::button(const Command& c)
{
    auto w = parseWidget(c.widget);
    if (!w) return failed("expected a widget W.G.M.N");
    IMacroSystem* ms = m_host.module().macroSystem();
    if (!ms) return failed(c.name + " needs IMacroSystem, and the module answers null for 1107 (no macro system)");
    if (c.name == "down") ms->onButtonDown(*w);
    else if (c.name == "hold") ms->onButtonHold(*w);
    else if (c.name == "release") ms->onButtonRelease(*w);
    else runButtonChain(m_host, *ms, *w, true);
    m_host.syncStdout();
    return {};
}

StepResult ScriptRunner::expectation(const Command& c)
{
    const std::string what = "expected " + substitute(trim(c.text.substr(std::string("expect").size())));
    const long long within = c.withinMs;
    switch (c.expect) {
    case ExpectKind::State: {
        const std::string key = substitute(c.name);
        const std::string value = substitute(c.value);
        auto holds = [&] {
            auto v = m_host.state().value(key);
            if (c.negate) return !v.has_value();
            return v && v->text == value && (c.type.empty() || c.type == v->type);
        };
        if (waitUntil(holds, within)) return {};
        auto v = m_host.state().value(key);
        return failed(what + " ; saw " +
                      (v ? key + " = " + quoteWord(v->text) + " (" + v->type + ")" : "no key " + key));
    }
    case ExpectKind::Attr: {
        auto w = parseWidget(c.widget);
        if (!w) return failed("expected a widget W.G.M.N");
        const std::string value = substitute(c.value);
        auto holds = [&] {
            auto v = m_host.widgets().layerValue(c.layer, *w, c.name);
            return c.negate ? !v.has_value() : v && *v == value;
        };
        if (waitUntil(holds, within)) return {};
        auto v = m_host.widgets().layerValue(c.layer, *w, c.name);
        return failed(what + " ; saw " + (v ? quoteWord(*v) : "nothing on layer " + c.layer));
    }
    case ExpectKind::Get: {
        std::vector<std::string> args;
        for (const auto& a : c.args) args.push_back(substitute(a));
        const std::string value = substitute(c.value);
        CallResult r;
        auto holds = [&] {
            r = callModule(m_host.module(), c.name, args);
            return r.ok && r.value == value;
        };
        if (waitUntil(holds, within)) return {};
        if (!r.ok) return failed(what + " ; saw no answer: " + r.error);
        return failed(what + " ; saw " + quoteWord(r.value));
    }
    case ExpectKind::Query: {
        oskit::Module* module = m_host.module().moduleObject();
        if (!module) return failed(what + " ; saw no module object");
        const bool present = module->queryInterface(static_cast<unsigned>(c.ms)) != nullptr;
        if (present == (c.value == "present")) return {};
        return failed(what + " ; saw " + (present ? "present" : "null"));
    }
    case ExpectKind::File: {
        const std::string path = filePath(c.path);
        const std::string value = substitute(c.value);
        auto holds = [&] {
            std::error_code ec;
            const bool exists = fs::exists(path, ec);
            if (c.negate) return !exists;
            if (c.fileCheck == FileCheck::Exists) return exists;
            auto bytes = readFile(path);
            if (!bytes) return false;
            switch (c.fileCheck) {
            case FileCheck::Bytes: return *bytes == (c.hex ? c.data : substitute(c.data));
            case FileCheck::Contains: return bytes->find(value) != std::string::npos;
            case FileCheck::Lacks: return bytes->find(value) == std::string::npos;
            case FileCheck::Exists: break;
            }
            return exists;
        };
        if (waitUntil(holds, within)) return {};
        std::error_code ec;
        if (!fs::exists(path, ec)) return failed(what + " ; saw no file " + path);
        if (c.negate) return failed(what + " ; saw the file " + path);
        if (fs::is_directory(path, ec)) return failed(what + " ; saw a folder " + path);
        auto bytes = readFile(path);
        return failed(what + " ; saw " + (bytes ? (c.hex ? hexText(*bytes) : "\"" + shown(*bytes) + "\"") : "an unreadable file"));
    }
    case ExpectKind::Sim: {
        const std::string value = substitute(c.value);
        auto holds = [&] {
            auto v = m_host.knob(c.name);
            return v && *v == value;
        };
        if (waitUntil(holds, within)) return {};
        auto v = m_host.knob(c.name);
        return failed(what + " ; saw " + (v ? quoteWord(*v) : "no knob " + c.name));
    }
    default: return expectStream(c);
    }
}

StepResult ScriptRunner::expectStream(const Command& c)
{
    const std::string what = "expected " + substitute(trim(c.text.substr(std::string("expect").size())));
    Stream stream = Stream::Calls;
    switch (c.expect) {
    case ExpectKind::Change: stream = Stream::Changes; break;
    case ExpectKind::Event: stream = Stream::Events; break;
    case ExpectKind::Notify: stream = Stream::Notify; break;
    case ExpectKind::Sent: stream = Stream::Sent; break;
    case ExpectKind::Call: stream = Stream::Calls; break;
    case ExpectKind::Stdout: stream = Stream::Stdout; break;
    case ExpectKind::Log: stream = Stream::Log; break;
    default: return failed("expected a check of a stream");
    }
    const std::string name = substitute(c.name);
    const std::string value = substitute(c.value);
    std::vector<std::string> args;
    for (const auto& a : c.args) args.push_back(substitute(a));
    std::vector<std::string> block;
    for (const auto& l : c.blockLines) block.push_back(substitute(l));

    // Sent: the expected parameters as name/value pairs, and the source if given.
    std::vector<std::pair<std::string, std::string>> params;
    std::string source;
    if (c.expect == ExpectKind::Sent) {
        for (const auto& a : args) {
            if (!a.empty() && a[0] == '@') source = a.substr(1);
            else {
                const auto eq = a.find('=');
                params.emplace_back(a.substr(0, eq), eq == std::string::npos ? std::string() : a.substr(eq + 1));
            }
        }
    }

    auto match = [&](const Entry& e) -> bool {
        const auto& f = e.fields;
        switch (c.expect) {
        case ExpectKind::Change:
            if (f.size() < 3 || f[0] != name) return false;
            if (!c.hasValue) return true;
            if (c.unset) return f[2] == "unset";
            return f[2] == "set" && f[1] == value;
        case ExpectKind::Event: return f.size() >= 2 && f[0] == name && (!c.hasValue || f[1] == value);
        case ExpectKind::Notify: return f.size() >= 2 && f[0] == c.widget && (!c.hasValue || f[1] == value);
        case ExpectKind::Sent: {
            if (f.size() < 2 || f[0] != name) return false;
            if (!source.empty() && f[1] != source) return false;
            if (c.anyParams) return true;
            if ((f.size() - 2) != params.size() * 2) return false;
            for (size_t k = 0; k < params.size(); ++k)
                if (f[2 + 2 * k] != params[k].first || f[3 + 2 * k] != params[k].second) return false;
            return true;
        }
        case ExpectKind::Call: {
            if (f.empty() || f[0] != name) return false;
            if (c.anyParams) return true;
            if (f.size() - 1 != args.size()) return false;
            for (size_t k = 0; k < args.size(); ++k)
                if (args[k] != "*" && args[k] != f[k + 1]) return false;
            return true;
        }
        case ExpectKind::Stdout:
        case ExpectKind::Log: return !f.empty() && f[0].find(value) != std::string::npos;
        default: return false;
        }
    };

    Recorder& rec = m_host.recorder();
    const size_t cursor = rec.cursor(stream);
    // The index one past the match, if there is one from the cursor on.
    auto search = [&]() -> std::optional<size_t> {
        if (stream == Stream::Stdout) m_host.syncStdout();
        const auto entries = rec.entries(stream, cursor);
        if (c.expect == ExpectKind::Stdout && c.hasBlock) {
            for (size_t s = 0; s + block.size() <= entries.size(); ++s) {
                bool all = true;
                for (size_t k = 0; k < block.size() && all; ++k) all = entries[s + k].fields[0] == block[k];
                if (all) return cursor + s + block.size();
            }
            return std::nullopt;
        }
        for (size_t k = 0; k < entries.size(); ++k)
            if (match(entries[k])) return cursor + k + 1;
        return std::nullopt;
    };

    const auto deadline = Clock::now() + std::chrono::milliseconds(c.withinMs);
    std::optional<size_t> found;
    for (;;) {
        found = search();
        if (found || Clock::now() >= deadline) break;
        const size_t seen = rec.size(stream);
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        // Sleep until something new arrives (or briefly, for output still in the pipe).
        rec.waitFor(stream, seen, [](const Entry&) { return true; },
                    static_cast<int>(std::min<long long>(left, stream == Stream::Stdout ? 20 : left)));
    }
    if (c.negate) {
        if (!found) return {};
        const auto entries = rec.entries(stream, *found - 1);
        return failed(what + " ; saw " + (entries.empty() ? std::string("it") : entries[0].text));
    }
    if (found) {
        rec.setCursor(stream, *found);
        return {};
    }
    // What was there instead: entries of the same name first, else the last few.
    const auto entries = rec.entries(stream, cursor);
    std::vector<std::string> near;
    if (c.expect != ExpectKind::Stdout && c.expect != ExpectKind::Log) {
        for (const auto& e : entries)
            if (!e.fields.empty() && e.fields[0] == (c.expect == ExpectKind::Notify ? c.widget : name)) near.push_back(e.text);
    }
    if (near.empty()) {
        const size_t from = entries.size() > 3 ? entries.size() - 3 : 0;
        for (size_t k = from; k < entries.size(); ++k) near.push_back(entries[k].text);
    }
    if (near.size() > 5) near.erase(near.begin(), near.end() - 5);
    std::string saw;
    for (const auto& n : near) saw += (saw.empty() ? "" : " | ") + n;
    return failed(what + " ; saw " + (saw.empty() ? "nothing" : saw));
}

} // namespace panelhost
