#include "console.h"

#include <editline/readline.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "fidnames.h"
#include "modulecalls.h"
#include "oskit/CmdProcessor.h"
#include "panelhost.h"
#include "scriptparser.h"
#include "scriptrunner.h"
#include "textutil.h"

namespace panelhost {

namespace {

Console* s_console = nullptr;
std::vector<std::string> s_matches;
size_t s_next = 0;

char* generator(const char*, int state)
{
    if (state == 0) s_next = 0;
    if (s_next >= s_matches.size()) return nullptr;
    return strdup(s_matches[s_next++].c_str());
}

char** complete(const char* text, int start, int)
{
    if (!s_console) return nullptr;
    const std::string lineStart(rl_line_buffer ? std::string(rl_line_buffer, static_cast<size_t>(start)) : "");
    const auto found = s_console->candidates(lineStart, text ? text : "");
    s_matches.assign(found.begin(), found.end());
    rl_attempted_completion_over = 1;
    return rl_completion_matches(text, generator);
}

} // namespace

Console::Console(Host& host) : m_host(host)
{
    m_terminal = ::isatty(STDIN_FILENO) != 0;
    const char* home = std::getenv("HOME");
    m_historyFile = home && *home ? std::string(home) + "/.panelhost_history" : host.runDir() + "/.panelhost_history";
}

std::set<std::string> Console::fidNames() const
{
    // The module's own names, read off its registry at build time, and the
    // names seen sent or typed as they come.
    std::set<std::string> names(moduleFIDNames().begin(), moduleFIDNames().end());
    names.insert(m_typedNames.begin(), m_typedNames.end());
    noteSentNames();
    names.insert(m_sentNames.begin(), m_sentNames.end());
    return names;
}

void Console::noteSentNames() const
{
    // A restart starts the recorded streams afresh; the names seen stay.
    const std::string prefix = m_host.options().prefix + ".";
    for (const auto& e : m_host.recorder().entries(Stream::Sent))
        if (!e.fields.empty() && startsWith(e.fields[0], prefix)) m_sentNames.insert(e.fields[0].substr(prefix.size()));
}

std::set<std::string> Console::candidates(const std::string& lineStart, const std::string& word) const
{
    std::set<std::string> pool;
    std::vector<Word> words;
    std::string error;
    splitWords(lineStart, words, error);
    if (words.empty()) {
        pool.insert(commandWords().begin(), commandWords().end());
        pool.insert({"help", "names", "verbose", "quit"});
    } else if (words.size() == 1 && words[0].text == "verbose") {
        pool = {"on", "off"};
    } else if (words.size() == 1 && (words[0].text == "fid" || words[0].text == "record")) {
        pool = fidNames();
        if (words[0].text == "record") {
            std::set<std::string> full;
            for (const auto& n : pool) full.insert(m_host.options().prefix + "." + n);
            pool = full;
        }
    } else if ((words.size() == 1 && words[0].text == "call") ||
               (words.size() == 2 && words[0].text == "expect" && words[1].text == "get")) {
        for (const auto& op : moduleOperations()) pool.insert(op);
        if (words[0].text == "expect") pool.insert("queryInterface");
    } else if (words.size() == 1 && words[0].text == "expect") {
        pool = {"no", "state", "change", "event", "notify", "sent", "call", "attr", "get", "stdout", "log", "file", "sim"};
    } else if (words.size() == 1 && words[0].text == "shell") {
        for (const auto& n : oskit::CmdProcessor::getInstance()->commandNames()) pool.insert(n);
    }
    std::set<std::string> out;
    for (const auto& p : pool)
        if (startsWith(p, word)) out.insert(p);
    return out;
}

bool Console::readLine(const std::string& prompt, std::string& line)
{
    if (m_terminal) {
        char* got = readline(prompt.c_str());
        if (!got) return false;
        line = got;
        std::free(got);
        if (!trim(line).empty()) add_history(line.c_str());
        return true;
    }
    return static_cast<bool>(std::getline(std::cin, line));
}

void Console::help() const
{
    m_host.narrator().always(
        "Commands are the lines of a scenario script, for example:\n"
        "  fid SETVAR NAME=a VALUE=b @0.1.2.3     send a FID to the module (local name)\n"
        "  press 0.1.2.3                          a button press through the macro chain\n"
        "  call IMacroSystem.getMacroLevel 0.1.2.3\n"
        "  publish MFD1.MACRO.REG5.STATUS = PLAY  set a full key as another driver would\n"
        "  sim mfd.MFD1 = active                  make a simulated mainframe driver answer\n"
        "  shell showEth                          a console command of the module\n"
        "  expect state PANEL.LOADED = \"\"         check something (see the README for all checks)\n"
        "  start | restart | stop | loglevel DEBUG | wait 100\n"
        "  verbose on|off   every state key, or a burst under one prefix as one line with its count\n"
        "  names   the FID names known so far      help   this text      quit   leave");
}

bool Console::verbose(const std::string& line)
{
    std::vector<Word> words;
    std::string error;
    if (!splitWords(line, words, error) || words.empty() || words[0].text != "verbose") return false;
    if (words.size() == 2 && (words[1].text == "on" || words[1].text == "off")) {
        m_host.narrator().setVerbose(words[1].text == "on");
        m_host.narrator().always(std::string("verbose ") + (words[1].text == "on" ? "on: every state key is shown"
                                                                                   : "off: a burst of keys reads as one line per prefix"));
    } else {
        m_host.narrator().always(std::string("verbose is ") + (m_host.narrator().verbose() ? "on" : "off") +
                                 "; verbose on|off");
    }
    return true;
}

void Console::handle(const std::string& text)
{
    Script script = parseScript(text);
    for (const auto& e : script.errors) m_host.narrator().always("line " + std::to_string(e.line) + ": " + e.message);
    ScriptRunner runner(m_host, "console");
    for (const auto& c : script.commands) {
        if (c.kind == CommandKind::Fid) m_typedNames.insert(c.name);
        if (c.kind == CommandKind::Restart) noteSentNames();
        StepResult r = runner.execute(c);
        if (!r.ok) m_host.narrator().always("failed: " + r.message);
        else if (c.kind == CommandKind::Expect) m_host.narrator().always("ok");
    }
}

int Console::run()
{
    s_console = this;
    FILE* screen = nullptr;
    if (m_terminal) {
        // The module's standard output is captured: the prompt and the line
        // being edited go to the terminal the narration writes to.
        const int fd = m_host.narrator().fd() >= 0 ? ::dup(m_host.narrator().fd()) : -1;
        screen = fd >= 0 ? ::fdopen(fd, "w") : nullptr;
        if (screen) rl_outstream = screen;
        read_history(m_historyFile.c_str());
        rl_attempted_completion_function = complete;
    }
    m_host.narrator().always("panelhost console; run dir " + m_host.runDir() + "; type help for the commands");
    std::string line;
    while (readLine("panelhost> ", line)) {
        const std::string t = trim(line);
        if (t.empty()) continue;
        if (t == "quit" || t == "exit") break;
        if (t == "help") {
            help();
            continue;
        }
        if (verbose(t)) continue;
        if (t == "names") {
            std::string all;
            for (const auto& n : fidNames()) all += n + "\n";
            m_host.narrator().always(all);
            continue;
        }
        std::string chunk = line + "\n";
        std::vector<Word> words;
        std::string error;
        if (splitWords(line, words, error) && !words.empty() && startsWith(words.back().text, "<<") &&
            !words.back().quoted) {
            const std::string marker = words.back().text.substr(2);
            std::string more;
            while (readLine("... ", more)) {
                chunk += more + "\n";
                if (trim(more) == marker) break;
            }
        }
        handle(chunk);
    }
    if (m_terminal) write_history(m_historyFile.c_str());
    if (screen) {
        rl_outstream = nullptr;
        std::fclose(screen);
    }
    s_console = nullptr;
    return 0;
}

} // namespace panelhost
