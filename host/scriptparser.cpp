#include "scriptparser.h"

#include <algorithm>
#include <cctype>

#include "modulecalls.h"
#include "textutil.h"

namespace panelhost {

const std::vector<std::string>& commandWords()
{
    static const std::vector<std::string> kWords = {
        "file", "remove", "mkdir", "fifo", "symlink", "lock", "unlock", "start", "restart", "stop", "fid", "record", "down", "hold",
        "release", "press", "call", "publish", "attr", "shell", "sim", "wait", "loglevel", "expect"};
    return kWords;
}

namespace {

// A malformed line: what was expected instead.
struct Malformed {
    std::string expected;
};

[[noreturn]] void expected(const std::string& what)
{
    throw Malformed{what};
}

class Parser {
public:
    explicit Parser(const std::string& text) { splitLines(text); }

    Script run()
    {
        for (m_index = 0; m_index < m_lines.size(); ++m_index) {
            const std::string& raw = m_lines[m_index];
            const std::string trimmed = trim(raw);
            if (trimmed.empty()) continue;
            Command c;
            c.line = static_cast<int>(m_index) + 1;
            c.text = trimmed;
            if (trimmed[0] == '#') {
                c.kind = CommandKind::Comment;
                c.value = trim(trimmed.substr(1));
                m_script.commands.push_back(std::move(c));
                continue;
            }
            try {
                parseLine(raw, c);
                m_script.commands.push_back(std::move(c));
            } catch (const Malformed& m) {
                m_script.errors.push_back(ParseError{c.line, "expected " + m.expected});
                if (m_blockMissing) break;
            }
        }
        return std::move(m_script);
    }

private:
    void splitLines(const std::string& text)
    {
        std::string current;
        for (char ch : text) {
            if (ch == '\n') {
                if (!current.empty() && current.back() == '\r') current.pop_back();
                m_lines.push_back(std::move(current));
                current.clear();
            } else {
                current += ch;
            }
        }
        if (!current.empty()) {
            if (current.back() == '\r') current.pop_back();
            m_lines.push_back(std::move(current));
        }
    }

    // The words from index `from` up to (not including) `to`, as the text of
    // the line stands, quotes and all; only a text that is wholly one quoted
    // word gives that word's text without its quotes.
    std::string rest(size_t from, size_t to)
    {
        if (from >= to || from >= m_words.size()) return std::string();
        const size_t begin = m_words[from].column;
        m_restColumn = std::min(m_restColumn, begin);
        if (to == from + 1 && m_words[from].wholly) return m_words[from].text;
        const size_t end = to < m_words.size() ? m_words[to].column : m_raw.size();
        return trim(m_raw.substr(begin, end - begin));
    }

    // Reads the block that follows the current line, up to a line holding the
    // marker alone. Lines keep their blanks.
    std::vector<std::string> readBlock(const std::string& marker)
    {
        if (marker.empty()) expected("a block marker after <<, as in <<END");
        const size_t open = m_index;
        std::vector<std::string> block;
        for (size_t i = m_index + 1; i < m_lines.size(); ++i) {
            if (trim(m_lines[i]) == marker) {
                m_index = i;
                return block;
            }
            block.push_back(m_lines[i]);
        }
        m_blockMissing = true;
        expected("a line " + marker + " to end the block opened at line " + std::to_string(open + 1));
    }

    // If the last word (before `end`) opens a block, reads it into c and
    // answers true. A "hex" word before the marker makes it a hex block.
    bool takeBlock(Command& c, size_t& end, bool allowHex)
    {
        if (end == 0 || !startsWith(m_words[end - 1].text, "<<") || m_words[end - 1].quoted) return false;
        const std::string marker = m_words[end - 1].text.substr(2);
        --end;
        c.hasBlock = true;
        if (allowHex && end > 0 && m_words[end - 1].text == "hex" && !m_words[end - 1].quoted) {
            c.hex = true;
            --end;
        }
        c.blockLines = readBlock(marker);
        if (c.hex) {
            std::string all;
            for (const auto& l : c.blockLines) all += l + "\n";
            auto bytes = parseHex(all);
            if (!bytes) expected("hex pairs (0-9, a-f) in the block");
            c.data = *bytes;
        } else {
            for (const auto& l : c.blockLines) c.data += l + "\n";
        }
        return true;
    }

    const std::string& word(size_t i, const std::string& what) const
    {
        if (i >= m_words.size()) expected(what);
        return m_words[i].text;
    }

    void noMore(size_t i, size_t end, const std::string& after) const
    {
        if (i < end) expected("nothing more after " + after + ", not " + quoteWord(m_words[i].text));
    }

    static std::string checkWidget(const std::string& text)
    {
        if (!parseWidget(text)) expected("a widget W.G.M.N (workplace 0-7, group 0-31, module 0-255), not " + quoteWord(text));
        return text;
    }

    static long long milliseconds(const std::string& text)
    {
        auto v = parseInteger(text);
        if (!v || *v < 0 || *v > 3600000) expected("a number of milliseconds (0 to 3600000), not " + quoteWord(text));
        return *v;
    }

    // A count for repeat and nested: 1 to 10,000,000.
    static long long count(const std::string& text)
    {
        auto v = parseInteger(text);
        if (!v || *v < 1 || *v > 10000000) expected("a count (1 to 10000000), not " + quoteWord(text));
        return *v;
    }

    static void checkFidWords(const std::vector<std::string>& words)
    {
        FIDParameterList params;
        std::string error;
        if (!buildParams(words, params, error)) expected(error);
    }

    void parseLine(const std::string& raw, Command& c)
    {
        m_raw = raw;
        std::string error;
        size_t looseQuote = std::string::npos;
        m_restColumn = std::string::npos;
        splitWords(raw, m_words, error, &looseQuote);
        parseCommand(c);
        // A quote left open is the text's own inside the rest of a line;
        // anywhere before it, a mistake.
        if (looseQuote < m_restColumn)
            expected("a closing \" for the quote in column " + std::to_string(looseQuote + 1));
    }

    void parseCommand(Command& c)
    {
        const std::string& verb = m_words[0].text;
        size_t end = m_words.size();
        auto words = [&](size_t from, size_t to) {
            std::vector<std::string> out;
            for (size_t i = from; i < to; ++i) out.push_back(m_words[i].text);
            return out;
        };

        if (verb == "file") {
            c.kind = CommandKind::File;
            c.ms = 1;
            const char* forms = "file PATH <<END, file PATH hex <<END, file PATH repeat N <<END or file PATH nested N TAG";
            if (end >= 3 && m_words[2].text == "nested" && !m_words[2].quoted) {
                c.path = m_words[1].text;
                c.nested = true;
                c.ms = count(word(3, "a number of levels after nested"));
                c.name = word(4, "an element name after the number of levels");
                if (c.name.empty() || c.name.find_first_of("<>/ \"'") != std::string::npos)
                    expected("an element name after the number of levels, not " + quoteWord(c.name));
                noMore(5, end, "the element name");
            } else {
                if (!takeBlock(c, end, true)) expected(forms);
                c.path = word(1, "a path after file");
                if (end == 4 && m_words[2].text == "repeat" && !m_words[2].quoted)
                    c.ms = count(m_words[3].text);
                else if (end != 2)
                    expected(forms);
            }
        } else if (verb == "symlink") {
            c.kind = CommandKind::Symlink;
            c.value = word(1, "symlink TARGET PATH");
            c.path = word(2, "a path after the link's target");
            noMore(3, end, "the path");
        } else if (verb == "remove" || verb == "mkdir" || verb == "unlock" || verb == "fifo") {
            c.kind = verb == "remove"  ? CommandKind::Remove
                     : verb == "mkdir" ? CommandKind::Mkdir
                     : verb == "fifo"  ? CommandKind::Fifo
                                       : CommandKind::Unlock;
            c.path = word(1, "a path after " + verb);
            noMore(2, end, "the path");
        } else if (verb == "lock") {
            c.kind = CommandKind::Lock;
            c.path = word(1, "lock PATH shared|exclusive");
            c.value = word(2, "shared or exclusive after the path");
            if (c.value != "shared" && c.value != "exclusive") expected("shared or exclusive, not " + quoteWord(c.value));
            noMore(3, end, "the lock mode");
        } else if (verb == "start") {
            c.kind = CommandKind::Start;
            for (size_t i = 1; i < end; ++i) {
                const std::string& w = m_words[i].text;
                if (w == "without") {
                    const std::string& list = word(++i, "a list of interface names after without, as IColorManager,IPanelFeedback");
                    size_t s = 0;
                    while (s <= list.size()) {
                        size_t comma = list.find(',', s);
                        if (comma == std::string::npos) comma = list.size();
                        const std::string name = trim(list.substr(s, comma - s));
                        if (!name.empty()) c.without.push_back(name);
                        s = comma + 1;
                    }
                    if (c.without.empty()) expected("interface names after without");
                } else if (startsWith(w, "workplace-file=")) {
                    c.workplaceFile = w.substr(15);
                } else if (w == "skip") {
                    const std::string& list = word(++i, "phase numbers after skip, as 6,8 (5, 6 or 8)");
                    size_t s = 0;
                    while (s <= list.size()) {
                        size_t comma = list.find(',', s);
                        if (comma == std::string::npos) comma = list.size();
                        const std::string phase = trim(list.substr(s, comma - s));
                        if (phase == "5" || phase == "6" || phase == "8")
                            c.skipPhases.push_back(phase[0] - '0');
                        else
                            expected("a phase that start can skip (5, 6 or 8), not " + quoteWord(phase));
                        s = comma + 1;
                    }
                } else {
                    expected("without I1,I2, workplace-file=PATH or skip N,N after start, not " + quoteWord(w));
                }
            }
        } else if (verb == "restart" || verb == "stop") {
            c.kind = verb == "restart" ? CommandKind::Restart : CommandKind::Stop;
            noMore(1, end, verb);
        } else if (verb == "fid" || verb == "record") {
            c.kind = verb == "fid" ? CommandKind::Fid : CommandKind::Record;
            c.name = word(1, "a FID name after " + verb);
            if (c.name.find('=') != std::string::npos || startsWith(c.name, "@")) expected("a FID name after " + verb);
            c.args = words(2, end);
            checkFidWords(c.args);
        } else if (verb == "down" || verb == "hold" || verb == "release" || verb == "press") {
            c.kind = CommandKind::Button;
            c.name = verb;
            c.widget = checkWidget(word(1, "a widget W.G.M.N after " + verb));
            noMore(2, end, "the widget");
        } else if (verb == "call") {
            c.kind = CommandKind::Call;
            c.name = word(1, "an operation Iface.op after call");
            checkOperation(c.name);
            c.args = words(2, end);
        } else if (verb == "publish") {
            c.kind = CommandKind::Publish;
            c.name = word(1, "publish KEY = VALUE");
            if (word(2, "= after the key") != "=") expected("= after the key");
            c.value = rest(3, end);
        } else if (verb == "attr") {
            c.kind = CommandKind::Attr;
            c.widget = checkWidget(word(1, "attr W.G.M.N NAME = VALUE"));
            c.name = word(2, "an attribute name after the widget");
            if (word(3, "= after the attribute name") != "=") expected("= after the attribute name");
            c.value = rest(4, end);
        } else if (verb == "shell") {
            c.kind = CommandKind::Shell;
            if (m_words.size() < 2) expected("a console command after shell");
            m_restColumn = m_words[1].column;
            c.value = trim(m_raw.substr(m_words[1].column));
        } else if (verb == "sim") {
            c.kind = CommandKind::Sim;
            c.name = word(1, "sim KNOB = VALUE");
            if (word(2, "= after the knob") != "=") expected("= after the knob");
            if (takeBlock(c, end, true)) {
                if (!c.hex) expected("a hex block: sim KNOB = hex <<END");
                noMore(3, end, "=");
                c.value = hexText(c.data);
            } else {
                c.value = rest(3, end);
            }
        } else if (verb == "wait") {
            c.kind = CommandKind::Wait;
            c.ms = milliseconds(word(1, "a number of milliseconds after wait"));
            noMore(2, end, "the milliseconds");
        } else if (verb == "loglevel") {
            c.kind = CommandKind::LogLevel;
            std::string level = word(1, "a level after loglevel");
            std::transform(level.begin(), level.end(), level.begin(),
                           [](unsigned char ch) { return static_cast<char>(std::toupper(ch)); });
            static const char* kLevels[] = {"DEBUG", "INFO", "WARN", "ERROR", "ALERT", "FATAL", "OFF"};
            if (std::find(std::begin(kLevels), std::end(kLevels), level) == std::end(kLevels))
                expected("one of DEBUG, INFO, WARN, ERROR, ALERT, FATAL, OFF, not " + quoteWord(word(1, "")));
            c.value = level;
            noMore(2, end, "the level");
        } else if (verb == "expect") {
            c.kind = CommandKind::Expect;
            parseExpect(c);
        } else {
            expected("a command (file, remove, mkdir, fifo, symlink, lock, unlock, start, restart, stop, fid, record, down, hold, "
                     "release, press, call, publish, attr, shell, sim, wait, loglevel, expect), not " +
                     quoteWord(verb));
        }
    }

    static void checkOperation(const std::string& name)
    {
        const auto ops = moduleOperations();
        if (std::find(ops.begin(), ops.end(), name) == ops.end())
            expected("an operation of the module's interfaces (such as IMacroSystem.execPreMacro), not " +
                     quoteWord(name));
    }

    // Index of the "=" word in [from, to), or `to`.
    size_t findEquals(size_t from, size_t to) const
    {
        for (size_t i = from; i < to; ++i)
            if (m_words[i].text == "=" && !m_words[i].quoted) return i;
        return to;
    }

    void parseExpect(Command& c)
    {
        size_t i = 1;
        size_t end = m_words.size();
        if (i < end && m_words[i].text == "no") {
            c.negate = true;
            ++i;
        }
        // "within MS" closes any expect line.
        if (end >= i + 2 && m_words[end - 2].text == "within" && !m_words[end - 2].quoted) {
            c.withinMs = milliseconds(m_words[end - 1].text);
            end -= 2;
        }
        const std::string what = word(i, "what to expect: state, change, event, notify, sent, call, attr, get, stdout, "
                                         "log, file or sim");
        if (i >= end) expected("what to expect after expect");
        ++i;
        if (what == "state") {
            c.expect = ExpectKind::State;
            const std::string& first = word(i, "a key after expect state");
            if (!c.negate && (first == "int" || first == "bool" || first == "text" || first == "float") && i + 1 < end &&
                m_words[i + 1].text != "=") {
                c.type = first;
                ++i;
            }
            c.name = word(i, "a key");
            if (c.negate) {
                noMore(i + 1, end, "the key (expect no state KEY)");
                return;
            }
            if (i + 1 >= end || m_words[i + 1].text != "=") expected("= VALUE after the key");
            c.value = rest(i + 2, end);
            c.hasValue = true;
        } else if (what == "change") {
            c.expect = ExpectKind::Change;
            c.name = word(i, "a key after expect change");
            if (i + 1 < end && m_words[i + 1].text == "unset" && !m_words[i + 1].quoted) {
                c.unset = true;
                c.hasValue = true;
                noMore(i + 2, end, "unset");
            } else if (i + 1 < end && m_words[i + 1].text == "=") {
                c.value = rest(i + 2, end);
                c.hasValue = true;
            } else if (!c.negate || i + 1 < end) {
                expected("= VALUE or unset after the key");
            }
        } else if (what == "event") {
            c.expect = ExpectKind::Event;
            c.name = word(i, "an event name after expect event");
            if (i + 1 < end) {
                if (m_words[i + 1].text != "=") expected("= VALUE after the event name");
                c.value = rest(i + 2, end);
                c.hasValue = true;
            }
        } else if (what == "notify") {
            c.expect = ExpectKind::Notify;
            c.widget = checkWidget(word(i, "a widget W.G.M.N after expect notify"));
            if (i + 1 < end) {
                c.value = m_words[i + 1].text;
                c.hasValue = true;
                noMore(i + 2, end, "the word");
            } else if (!c.negate) {
                expected("a word after the widget, as PREMACROFINISHED");
            }
        } else if (what == "sent") {
            c.expect = ExpectKind::Sent;
            c.name = word(i, "a full FID name after expect sent");
            for (size_t k = i + 1; k < end; ++k) {
                const std::string& w = m_words[k].text;
                if (w == "*" && !m_words[k].quoted) c.anyParams = true;
                else c.args.push_back(w);
            }
            checkFidWords(c.args);
            if (c.negate && c.args.empty()) c.anyParams = true;
        } else if (what == "call") {
            c.expect = ExpectKind::Call;
            c.name = word(i, "a host call Iface.op after expect call");
            if (c.name.find('.') == std::string::npos) expected("a host call Iface.op, not " + quoteWord(c.name));
            for (size_t k = i + 1; k < end; ++k) c.args.push_back(m_words[k].text);
            c.anyParams = i + 1 >= end;
        } else if (what == "attr") {
            c.expect = ExpectKind::Attr;
            c.layer = word(i, "a layer after expect attr");
            c.widget = checkWidget(word(i + 1, "a widget W.G.M.N after the layer"));
            c.name = word(i + 2, "an attribute name after the widget");
            if (c.negate) {
                noMore(i + 3, end, "the attribute name");
                return;
            }
            if (i + 3 >= end || m_words[i + 3].text != "=") expected("= VALUE after the attribute name");
            c.value = rest(i + 4, end);
            c.hasValue = true;
        } else if (what == "get") {
            if (c.negate) expected("expect get without no");
            const std::string op = word(i, "an operation after expect get");
            const size_t eq = findEquals(i + 1, end);
            if (eq == end) expected("= VALUE at the end of expect get");
            c.value = rest(eq + 1, end);
            c.hasValue = true;
            if (op == "queryInterface") {
                c.expect = ExpectKind::Query;
                if (eq != i + 2) expected("expect get queryInterface N = present|null");
                auto id = parseInteger(m_words[i + 1].text);
                if (!id || *id < 0 || *id > 4294967295LL) expected("an interface number, not " + quoteWord(m_words[i + 1].text));
                c.ms = *id;
                if (c.value != "present" && c.value != "null") expected("present or null, not " + quoteWord(c.value));
            } else {
                c.expect = ExpectKind::Get;
                c.name = op;
                checkOperation(op);
                for (size_t k = i + 1; k < eq; ++k) c.args.push_back(m_words[k].text);
            }
        } else if (what == "stdout" || what == "log") {
            c.expect = what == "stdout" ? ExpectKind::Stdout : ExpectKind::Log;
            if (what == "stdout" && takeBlock(c, end, false)) {
                noMore(i, end, "stdout");
                if (c.blockLines.empty()) expected("at least one line in the block");
            } else {
                if (i >= end) expected("a text after expect " + what);
                c.value = rest(i, end);
                c.hasValue = true;
            }
        } else if (what == "file") {
            c.expect = ExpectKind::File;
            c.path = word(i, "a path after expect file");
            if (c.negate) {
                noMore(i + 1, end, "the path (expect no file PATH)");
                return;
            }
            if (i + 1 >= end) {
                c.fileCheck = FileCheck::Exists;
                return;
            }
            const std::string& how = m_words[i + 1].text;
            if (how == "=") {
                c.fileCheck = FileCheck::Bytes;
                if (!takeBlock(c, end, true) || end != i + 2) expected("= <<END or = hex <<END after the path");
            } else if (how == "contains" || how == "lacks") {
                c.fileCheck = how == "contains" ? FileCheck::Contains : FileCheck::Lacks;
                if (i + 2 >= end) expected("a text after " + how);
                c.value = rest(i + 2, end);
                c.hasValue = true;
            } else {
                expected("= <<END, contains TEXT or lacks TEXT after the path, not " + quoteWord(how));
            }
        } else if (what == "sim") {
            if (c.negate) expected("expect sim without no");
            c.expect = ExpectKind::Sim;
            c.name = word(i, "a knob after expect sim");
            if (i + 1 >= end || m_words[i + 1].text != "=") expected("= VALUE after the knob");
            if (takeBlock(c, end, true)) {
                if (!c.hex || end != i + 2) expected("= hex <<END after the knob");
                c.value = hexText(c.data);
            } else {
                c.value = rest(i + 2, end);
            }
            c.hasValue = true;
        } else {
            expected("state, change, event, notify, sent, call, attr, get, stdout, log, file or sim after expect, not " +
                     quoteWord(what));
        }
    }

    std::vector<std::string> m_lines;
    size_t m_index = 0;
    std::string m_raw;
    std::vector<Word> m_words;
    size_t m_restColumn = std::string::npos; // where the line's rest-of-line text begins
    bool m_blockMissing = false;
    Script m_script;
};

} // namespace

Script parseScript(const std::string& text)
{
    Parser parser(text);
    return parser.run();
}

} // namespace panelhost
