#pragma once

// The interactive console of panelhost: the script vocabulary one line at a
// time (blocks with <<END continue over the following lines), plus `help`,
// `names`, `verbose on|off` and `quit`. On a terminal it edits lines with history
// (~/.panelhost_history) and completes command words, operation names and the
// FID names it knows (the panel's own vocabulary, names seen sent and names
// typed). Otherwise it reads lines plainly.

#include <set>
#include <string>

namespace panelhost {

class Host;

class Console {
public:
    explicit Console(Host& host);
    // Runs until quit or the end of input. Answers the exit status.
    int run();

    // The FID names that completion offers (local names).
    std::set<std::string> fidNames() const;
    // Completion candidates for a line start and the word being typed.
    std::set<std::string> candidates(const std::string& lineStart, const std::string& word) const;
    // A `verbose on|off` line: switches the narration of every state key on
    // or off and answers true; any other line answers false.
    bool verbose(const std::string& line);

private:
    bool readLine(const std::string& prompt, std::string& line);
    void handle(const std::string& text);
    void help() const;
    // Keeps the names of the FIDs recorded as sent so far.
    void noteSentNames() const;

    Host& m_host;
    bool m_terminal = false;
    std::string m_historyFile;
    std::set<std::string> m_typedNames;
    mutable std::set<std::string> m_sentNames;
};

} // namespace panelhost
