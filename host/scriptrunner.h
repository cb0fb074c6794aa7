#pragma once

// Runs parsed script commands against a Host: actions change the files, the
// knobs and the module; expects check the recorded streams (each with its
// cursor), the state table, the widget layers, files, knobs and answers of the
// module's interfaces.

#include <map>
#include <string>

#include "scriptparser.h"

namespace panelhost {

class Host;

struct StepResult {
    bool ok = true;
    // For a failed expect: "expected ... ; saw ..."; for a failed action: what went wrong.
    std::string message;
};

class ScriptRunner {
public:
    // `source` names the script in messages (FILE:LINE).
    ScriptRunner(Host& host, std::string source);
    ~ScriptRunner();
    ScriptRunner(const ScriptRunner&) = delete;
    ScriptRunner& operator=(const ScriptRunner&) = delete;

    // Runs every command; stops at the first failure and prints
    // "FILE:LINE: message" on standard error. Parse errors are reported first
    // and nothing runs. Answers the exit status: 0 passed, 1 failed, 2 malformed.
    int run(const Script& script);

    // One command (the console uses this). Comments narrate their heading.
    StepResult execute(const Command& command);

    // Texts with {run} replaced by the run directory.
    std::string substitute(const std::string& text) const;

private:
    bool ensureStarted(StepResult& result);
    StepResult action(const Command& c);
    StepResult expectation(const Command& c);
    StepResult button(const Command& c);
    StepResult expectStream(const Command& c);
    std::string filePath(const std::string& path) const;

    Host& m_host;
    std::string m_source;
    std::map<std::string, int> m_locks; // path -> open file holding the flock
    int m_lastCommentLine = -1;         // a comment right under another continues its paragraph
};

} // namespace panelhost
