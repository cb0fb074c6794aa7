#pragma once

// The parser of scenario scripts (*.panel). It only reads text: each line
// becomes a Command, or a ParseError naming the line and what was expected.
// Running the commands is the ScriptRunner's business.

#include <optional>
#include <string>
#include <vector>

namespace panelhost {

enum class CommandKind {
    Comment,  // text: the heading
    File,     // path, data (block bytes, repeated ms times), or nested: ms levels of the element name
    Remove,   // path
    Mkdir,    // path
    Fifo,     // path
    Symlink,  // value (the link's target as written), path
    Lock,     // path, value "shared" | "exclusive"
    Unlock,   // path
    Start,    // without, workplaceFile, skipPhases
    Restart,
    Stop,
    Fid,      // name, args (K=V words, @W.G.M.N)
    Record,   // name, args
    Button,   // name "down" | "hold" | "release" | "press", widget
    Call,     // name "Iface.op", args
    Publish,  // name (full key), value
    Attr,     // widget, name, value
    Shell,    // value: the command line
    Sim,      // name (knob), value (for a hex block: the hex text)
    Wait,     // ms
    LogLevel, // value: level word in capitals
    Expect,   // see ExpectKind
};

enum class ExpectKind {
    State,  // name (key), type ("" any), value; negated: name only
    Change, // name (key), value or unset; negated: value optional (hasValue)
    Event,  // name, value if hasValue
    Notify, // widget, value (word; optional when negated)
    Sent,   // name, args (K=V words in order, "@W.G.M.N"), anyParams for "*"
    Call,   // name "Iface.op", args ("*" any one); no args: any arguments
    Attr,   // layer, widget, name, value; negated: no value
    Get,    // name "Iface.op", args, value
    Query,  // ms: the interface id, value "present" | "null"
    Stdout, // value (contained text), or block lines (whole consecutive lines)
    Log,    // value (contained text)
    File,   // path, fileCheck, value (contains/lacks), data (bytes)
    Sim,    // name (knob), value (for a hex block: the bytes in data, hex true)
};

enum class FileCheck { Exists, Bytes, Contains, Lacks };

struct Command {
    CommandKind kind = CommandKind::Comment;
    int line = 0;     // 1-based line in the script
    std::string text; // the line as written, trimmed

    std::string name;
    std::string value;
    std::string path;
    std::string widget;
    std::string layer;
    std::string type;
    std::vector<std::string> args;
    long long ms = 0;

    bool hasBlock = false;
    bool hex = false;
    bool nested = false;                 // file PATH nested N TAG
    std::string data;                    // block bytes (text lines each ended by "\n", or hex decoded)
    std::vector<std::string> blockLines; // block lines as written

    std::vector<std::string> without;
    std::optional<std::string> workplaceFile;
    std::vector<int> skipPhases;

    ExpectKind expect = ExpectKind::State;
    bool negate = false;
    long long withinMs = 0;
    bool hasValue = false;
    bool unset = false;
    bool anyParams = false;
    FileCheck fileCheck = FileCheck::Exists;
};

struct ParseError {
    int line = 0;
    std::string message; // "expected ..." text
};

struct Script {
    std::vector<Command> commands;
    std::vector<ParseError> errors;
};

// Parses a whole script. Never throws; malformed lines become errors.
Script parseScript(const std::string& text);

// The first word of every command, for completion and help.
const std::vector<std::string>& commandWords();

} // namespace panelhost
