// The scenario script parser: every command and check form, blocks, quoting,
// and malformed lines reported with their line numbers and what was expected.

#include <gtest/gtest.h>

#include "scriptparser.h"

using namespace panelhost;

namespace {

Command only(const std::string& text)
{
    Script s = parseScript(text);
    EXPECT_TRUE(s.errors.empty()) << (s.errors.empty() ? "" : s.errors[0].message);
    EXPECT_EQ(s.commands.size(), 1u);
    return s.commands.empty() ? Command{} : s.commands[0];
}

ParseError error(const std::string& text)
{
    Script s = parseScript(text);
    EXPECT_EQ(s.errors.size(), 1u);
    return s.errors.empty() ? ParseError{} : s.errors[0];
}

} // namespace

TEST(ScriptParser, CommentBecomesHeadingAndBlankLinesAreSkipped)
{
    Script s = parseScript("\n   \n# The tour begins\n");
    ASSERT_EQ(s.commands.size(), 1u);
    EXPECT_EQ(s.commands[0].kind, CommandKind::Comment);
    EXPECT_EQ(s.commands[0].value, "The tour begins");
    EXPECT_EQ(s.commands[0].line, 3);
}

TEST(ScriptParser, FileBlockKeepsBlanksAndEndsEachLine)
{
    Script s = parseScript("file config/a.txt <<END\n  two blanks  \n\nlast\nEND\nwait 1\n");
    ASSERT_TRUE(s.errors.empty());
    ASSERT_EQ(s.commands.size(), 2u);
    EXPECT_EQ(s.commands[0].kind, CommandKind::File);
    EXPECT_EQ(s.commands[0].path, "config/a.txt");
    EXPECT_EQ(s.commands[0].data, "  two blanks  \n\nlast\n");
    EXPECT_FALSE(s.commands[0].hex);
    EXPECT_EQ(s.commands[1].line, 6);
}

TEST(ScriptParser, FileHexBlockIgnoresBlanksAndLineEnds)
{
    Command c = only("file a.bin hex <<EOF\n00 ff 1A\n  2b\nEOF\n");
    EXPECT_TRUE(c.hex);
    EXPECT_EQ(c.data, std::string("\x00\xff\x1a\x2b", 4));
}

TEST(ScriptParser, EmptyFileBlock)
{
    Command c = only("file empty.txt <<END\nEND");
    EXPECT_EQ(c.data, "");
}

TEST(ScriptParser, RemoveMkdirLockUnlock)
{
    EXPECT_EQ(only("remove a/b").kind, CommandKind::Remove);
    EXPECT_EQ(only("mkdir a/b").kind, CommandKind::Mkdir);
    Command l = only("lock data/PANEL/x.txt exclusive");
    EXPECT_EQ(l.kind, CommandKind::Lock);
    EXPECT_EQ(l.path, "data/PANEL/x.txt");
    EXPECT_EQ(l.value, "exclusive");
    EXPECT_EQ(only("lock x shared").value, "shared");
    EXPECT_EQ(only("unlock x").kind, CommandKind::Unlock);
}

TEST(ScriptParser, FifoAndSymlink)
{
    Command f = only("fifo config/Workplaces.xml");
    EXPECT_EQ(f.kind, CommandKind::Fifo);
    EXPECT_EQ(f.path, "config/Workplaces.xml");
    Command l = only("symlink b.xml config/a.xml");
    EXPECT_EQ(l.kind, CommandKind::Symlink);
    EXPECT_EQ(l.value, "b.xml");
    EXPECT_EQ(l.path, "config/a.xml");
    EXPECT_EQ(error("fifo").message, "expected a path after fifo");
    EXPECT_EQ(error("fifo a b").message, "expected nothing more after the path, not b");
    EXPECT_EQ(error("symlink a").message, "expected a path after the link's target");
    EXPECT_EQ(error("symlink a b c").message, "expected nothing more after the path, not c");
}

TEST(ScriptParser, FileRepeatedBlock)
{
    Command c = only("file big.txt repeat 3 <<END\nab\nEND\n");
    EXPECT_EQ(c.kind, CommandKind::File);
    EXPECT_EQ(c.path, "big.txt");
    EXPECT_EQ(c.data, "ab\n");
    EXPECT_EQ(c.ms, 3);
    EXPECT_FALSE(c.nested);
    Command h = only("file big.bin repeat 2 hex <<END\nff\nEND\n");
    EXPECT_TRUE(h.hex);
    EXPECT_EQ(h.ms, 2);
    EXPECT_EQ(only("file a.txt <<END\nx\nEND\n").ms, 1);
    EXPECT_EQ(error("file a repeat 0 <<END\nx\nEND\n").message, "expected a count (1 to 10000000), not 0");
    EXPECT_EQ(error("file a again 2 <<END\nx\nEND\n").message,
              "expected file PATH <<END, file PATH hex <<END, file PATH repeat N <<END or file PATH nested N TAG");
}

TEST(ScriptParser, FileNestedElements)
{
    Command c = only("file nvram/PANEL/PanelSettings.xml nested 20000 foreign");
    EXPECT_EQ(c.kind, CommandKind::File);
    EXPECT_TRUE(c.nested);
    EXPECT_EQ(c.path, "nvram/PANEL/PanelSettings.xml");
    EXPECT_EQ(c.ms, 20000);
    EXPECT_EQ(c.name, "foreign");
    EXPECT_FALSE(c.hasBlock);
    EXPECT_EQ(error("file a nested x cmd").message, "expected a count (1 to 10000000), not x");
    EXPECT_EQ(error("file a nested 3").message, "expected an element name after the number of levels");
    EXPECT_EQ(error("file a nested 3 \"a b\"").message,
              "expected an element name after the number of levels, not \"a b\"");
    EXPECT_EQ(error("file a nested 3 cmd more").message, "expected nothing more after the element name, not more");
}

TEST(ScriptParser, StartWithOptions)
{
    Command plain = only("start");
    EXPECT_EQ(plain.kind, CommandKind::Start);
    EXPECT_TRUE(plain.without.empty());
    EXPECT_FALSE(plain.workplaceFile.has_value());

    Command c = only("start without IColorManager,IPanelFeedback workplace-file=config/Other.xml");
    EXPECT_EQ(c.without, (std::vector<std::string>{"IColorManager", "IPanelFeedback"}));
    ASSERT_TRUE(c.workplaceFile.has_value());
    EXPECT_EQ(*c.workplaceFile, "config/Other.xml");

    Command none = only("start workplace-file=\"\"");
    ASSERT_TRUE(none.workplaceFile.has_value());
    EXPECT_EQ(*none.workplaceFile, "");
    EXPECT_TRUE(none.skipPhases.empty());

    Command skip = only("start skip 6,8 without IColorManager");
    EXPECT_EQ(skip.skipPhases, (std::vector<int>{6, 8}));
    EXPECT_EQ(skip.without, (std::vector<std::string>{"IColorManager"}));
    EXPECT_EQ(only("start skip 5").skipPhases, (std::vector<int>{5}));
}

TEST(ScriptParser, RestartAndStop)
{
    EXPECT_EQ(only("restart").kind, CommandKind::Restart);
    EXPECT_EQ(only("stop").kind, CommandKind::Stop);
}

TEST(ScriptParser, FidWithQuotedParametersAndSource)
{
    Command c = only("fid SETVAR NAME=\"two words\" VALUE=\"\" @1.2.3.4");
    EXPECT_EQ(c.kind, CommandKind::Fid);
    EXPECT_EQ(c.name, "SETVAR");
    EXPECT_EQ(c.args, (std::vector<std::string>{"NAME=two words", "VALUE=", "@1.2.3.4"}));
}

TEST(ScriptParser, RecordTakesAFullName)
{
    Command c = only("record PANEL.SETVAR NAME=a");
    EXPECT_EQ(c.kind, CommandKind::Record);
    EXPECT_EQ(c.name, "PANEL.SETVAR");
}

TEST(ScriptParser, ButtonEvents)
{
    for (const char* verb : {"down", "hold", "release", "press"}) {
        Command c = only(std::string(verb) + " 0.1.2.3");
        EXPECT_EQ(c.kind, CommandKind::Button);
        EXPECT_EQ(c.name, verb);
        EXPECT_EQ(c.widget, "0.1.2.3");
    }
}

TEST(ScriptParser, CallByOperationName)
{
    Command c = only("call IMacroSystem.setMacroLevel 0.1.2.3 A");
    EXPECT_EQ(c.kind, CommandKind::Call);
    EXPECT_EQ(c.name, "IMacroSystem.setMacroLevel");
    EXPECT_EQ(c.args, (std::vector<std::string>{"0.1.2.3", "A"}));
}

TEST(ScriptParser, PublishAttrShellSimWaitLoglevel)
{
    Command p = only("publish MFD1.MACRO.REG5.STATUS = PLAY");
    EXPECT_EQ(p.kind, CommandKind::Publish);
    EXPECT_EQ(p.name, "MFD1.MACRO.REG5.STATUS");
    EXPECT_EQ(p.value, "PLAY");
    EXPECT_EQ(only("publish K = two  words").value, "two  words");
    EXPECT_EQ(only("publish K = \"\"").value, "");

    Command a = only("attr 0.1.2.3 TYPE = SECONDARY");
    EXPECT_EQ(a.kind, CommandKind::Attr);
    EXPECT_EQ(a.widget, "0.1.2.3");
    EXPECT_EQ(a.name, "TYPE");
    EXPECT_EQ(a.value, "SECONDARY");

    Command sh = only("shell changePDL 3 \"new name\"");
    EXPECT_EQ(sh.kind, CommandKind::Shell);
    EXPECT_EQ(sh.value, "changePDL 3 \"new name\"");

    Command s = only("sim module.0.1.2.TXCount = 17");
    EXPECT_EQ(s.kind, CommandKind::Sim);
    EXPECT_EQ(s.name, "module.0.1.2.TXCount");
    EXPECT_EQ(s.value, "17");

    Command e = only("sim i2c.eeprom = hex <<END\n01 02\nEND");
    EXPECT_TRUE(e.hex);
    EXPECT_EQ(e.value, "0102");

    EXPECT_EQ(only("wait 250").ms, 250);
    EXPECT_EQ(only("loglevel debug").value, "DEBUG");
}

TEST(ScriptParser, ExpectStateForms)
{
    Command c = only("expect state PANEL.LOADED = \"\"");
    EXPECT_EQ(c.kind, CommandKind::Expect);
    EXPECT_EQ(c.expect, ExpectKind::State);
    EXPECT_EQ(c.name, "PANEL.LOADED");
    EXPECT_EQ(c.value, "");
    EXPECT_TRUE(c.type.empty());

    Command t = only("expect state int PANEL.WP0.MFDCOUNT = 0");
    EXPECT_EQ(t.type, "int");
    EXPECT_EQ(t.name, "PANEL.WP0.MFDCOUNT");
    EXPECT_EQ(only("expect state bool K = TRUE").type, "bool");
    EXPECT_EQ(only("expect state text K = x").type, "text");

    Command n = only("expect no state PANEL.X within 200");
    EXPECT_TRUE(n.negate);
    EXPECT_EQ(n.name, "PANEL.X");
    EXPECT_EQ(n.withinMs, 200);
}

TEST(ScriptParser, ExpectChangeForms)
{
    Command c = only("expect change PANEL.MENU.DDC_EEPROM.WRITE = IN_PROGRESS");
    EXPECT_EQ(c.expect, ExpectKind::Change);
    EXPECT_EQ(c.value, "IN_PROGRESS");
    EXPECT_FALSE(c.unset);
    Command u = only("expect change PANEL.MEMORY.CURRENT.0.A unset");
    EXPECT_TRUE(u.unset);
    Command n = only("expect no change PANEL.X");
    EXPECT_TRUE(n.negate);
    EXPECT_FALSE(n.hasValue);
}

TEST(ScriptParser, ExpectEventNotifySent)
{
    Command e = only("expect event MEMORY.LEARN = 1");
    EXPECT_EQ(e.expect, ExpectKind::Event);
    EXPECT_TRUE(e.hasValue);
    EXPECT_FALSE(only("expect event MEMORY.LEARN").hasValue);

    Command n = only("expect notify 0.1.2.3 PREMACROFINISHED");
    EXPECT_EQ(n.expect, ExpectKind::Notify);
    EXPECT_EQ(n.value, "PREMACROFINISHED");

    Command s = only("expect sent MFD1.REPLACE.MACRO.RECALL QUEUE=FALSE REG=5 BUTTON=16908291");
    EXPECT_EQ(s.expect, ExpectKind::Sent);
    EXPECT_EQ(s.args.size(), 3u);
    EXPECT_FALSE(s.anyParams);
    EXPECT_TRUE(only("expect sent MFD1.MACRO.STOP *").anyParams);
    EXPECT_TRUE(only("expect no sent MFD1.MACRO.STOP").anyParams);
    EXPECT_FALSE(only("expect sent PANEL.X").anyParams);
}

TEST(ScriptParser, ExpectCallWithWildcard)
{
    Command c = only("expect call IEventManager.changePDL * \"\" within 100");
    EXPECT_EQ(c.expect, ExpectKind::Call);
    EXPECT_EQ(c.args, (std::vector<std::string>{"*", ""}));
    EXPECT_EQ(c.withinMs, 100);
    EXPECT_TRUE(only("expect call IColorManager.prepareLoad").anyParams);
}

TEST(ScriptParser, ExpectAttrForms)
{
    Command c = only("expect attr REPL 0.1.2.3 TEXT = \"MACRO 5\"");
    EXPECT_EQ(c.expect, ExpectKind::Attr);
    EXPECT_EQ(c.layer, "REPL");
    EXPECT_EQ(c.value, "MACRO 5");
    Command n = only("expect no attr REPL 0.1.2.3 TEXT");
    EXPECT_TRUE(n.negate);
}

TEST(ScriptParser, ExpectGetAndQueryInterface)
{
    Command g = only("expect get IPanelSettings.getOLEDMode 1 = 1");
    EXPECT_EQ(g.expect, ExpectKind::Get);
    EXPECT_EQ(g.name, "IPanelSettings.getOLEDMode");
    EXPECT_EQ(g.args, (std::vector<std::string>{"1"}));
    EXPECT_EQ(g.value, "1");

    Command q = only("expect get queryInterface 1107 = present");
    EXPECT_EQ(q.expect, ExpectKind::Query);
    EXPECT_EQ(q.ms, 1107);
    EXPECT_EQ(q.value, "present");
}

TEST(ScriptParser, ExpectStdoutLogFileSim)
{
    Command s = only("expect stdout PS: saved within 1500");
    EXPECT_EQ(s.expect, ExpectKind::Stdout);
    EXPECT_EQ(s.value, "PS: saved");
    EXPECT_EQ(s.withinMs, 1500);

    Command b = only("expect stdout <<END\nWrite bytes:\n 0  1 \nEND");
    EXPECT_TRUE(b.hasBlock);
    EXPECT_EQ(b.blockLines, (std::vector<std::string>{"Write bytes:", " 0  1 "}));

    EXPECT_EQ(only("expect log ALERT PanelDriver: hi").value, "ALERT PanelDriver: hi");
    EXPECT_EQ(only("expect log \"  padded\"").value, "  padded");

    EXPECT_EQ(only("expect file a.txt").fileCheck, FileCheck::Exists);
    Command f = only("expect file a.txt = <<END\nx\nEND");
    EXPECT_EQ(f.fileCheck, FileCheck::Bytes);
    EXPECT_EQ(f.data, "x\n");
    Command h = only("expect file a.bin = hex <<END\nff\nEND");
    EXPECT_TRUE(h.hex);
    EXPECT_EQ(h.data, "\xff");
    EXPECT_EQ(only("expect file a.txt contains {run}/x").fileCheck, FileCheck::Contains);
    EXPECT_EQ(only("expect file a.txt lacks y").fileCheck, FileCheck::Lacks);
    EXPECT_TRUE(only("expect no file a.txt").negate);

    Command k = only("expect sim network.ip = 10.0.0.1");
    EXPECT_EQ(k.expect, ExpectKind::Sim);
    EXPECT_EQ(k.value, "10.0.0.1");
    Command e = only("expect sim i2c.eeprom = hex <<END\nAB cd\nEND");
    EXPECT_EQ(e.value, "abcd");
}

TEST(ScriptParser, RestOfLineTextsAreTakenAsWritten)
{
    EXPECT_EQ(only("expect file a.xml contains name=\"Third\"").value, "name=\"Third\"");
    EXPECT_EQ(only("expect file a.xml lacks attr=\"X\"").value, "attr=\"X\"");
    EXPECT_EQ(only("expect file a.xml contains signature=\"").value, "signature=\"");
    EXPECT_EQ(only("expect file a.xml contains \"").value, "\"");
    EXPECT_EQ(only("expect stdout a \"b\" c").value, "a \"b\" c");
    EXPECT_EQ(only("expect log say \"hi").value, "say \"hi");
    EXPECT_EQ(only("expect no log x=\"1\"").value, "x=\"1\"");
    Command w = only("expect log open \"quote within 500");
    EXPECT_EQ(w.value, "open \"quote");
    EXPECT_EQ(w.withinMs, 500);
    EXPECT_EQ(only("expect state K = a\"b\"").value, "a\"b\"");
    EXPECT_EQ(only("expect change K = \"a\" \"b\"").value, "\"a\" \"b\"");
    EXPECT_EQ(only("expect event E = \"x").value, "\"x");
    EXPECT_EQ(only("publish K = x\"y").value, "x\"y");
    EXPECT_EQ(only("attr 0.1.2.3 TEXT = \"a\"b").value, "\"a\"b");
    EXPECT_EQ(only("shell changePDL 3 \"open").value, "changePDL 3 \"open");
    // A text that is wholly one quoted word gives that word.
    EXPECT_EQ(only("expect change K = \"Lamp on\"").value, "Lamp on");
    EXPECT_EQ(only("expect file a.xml contains \"  two\"").value, "  two");
    EXPECT_EQ(only("expect log \"say \\\"hi\\\"\"").value, "say \"hi\"");
    Command q = only("expect stdout \"x y\" within 20");
    EXPECT_EQ(q.value, "x y");
    EXPECT_EQ(q.withinMs, 20);
}

TEST(ScriptParser, QuotesOutsideTheRestOfTheLineMustClose)
{
    for (const char* line : {"fid SETVAR NAME=\"open", "expect sent PANEL.X A=\"open", "expect call I.op \"open",
                             "expect file \"a.xml contains x", "publish \"K = 1", "expect notify 0.1.2.3 \"X"}) {
        Script s = parseScript(line);
        ASSERT_EQ(s.errors.size(), 1u) << line;
        EXPECT_NE(s.errors[0].message.find("a closing \""), std::string::npos) << line << " -> " << s.errors[0].message;
    }
}

TEST(ScriptParser, NegatedStreamChecks)
{
    for (const char* line : {"expect no event X", "expect no notify 0.1.2.3", "expect no sent PANEL.X",
                             "expect no call IEventManager.setVar", "expect no stdout Unknown",
                             "expect no log Studio"}) {
        EXPECT_TRUE(only(line).negate) << line;
    }
}

TEST(ScriptParser, UnknownCommandNamesTheLineAndTheCommands)
{
    ParseError e = error("wait 1\n\nfly away\n");
    EXPECT_EQ(e.line, 3);
    EXPECT_NE(e.message.find("expected a command"), std::string::npos);
    EXPECT_NE(e.message.find("fly"), std::string::npos);
}

TEST(ScriptParser, MalformedLinesSayWhatWasExpected)
{
    struct Case {
        const char* text;
        const char* expected;
    } cases[] = {
        {"wait soon", "a number of milliseconds"},
        {"press 9.1.2.3", "a widget W.G.M.N"},
        {"press", "a widget W.G.M.N"},
        {"fid", "a FID name"},
        {"fid SETVAR NAME", "a parameter NAME=VALUE"},
        {"fid SETVAR @1.2", "a source widget"},
        {"publish KEY VALUE", "= after the key"},
        {"lock x sometimes", "shared or exclusive"},
        {"call Nothing.at", "an operation of the module's interfaces"},
        {"expect", "what to expect"},
        {"expect weather sunny", "state, change, event"},
        {"expect state K", "= VALUE after the key"},
        {"expect get queryInterface x = present", "an interface number"},
        {"expect get queryInterface 1 = maybe", "present or null"},
        {"expect file a.txt maybe", "= <<END, contains TEXT or lacks TEXT"},
        {"fid SETVAR NAME=\"open", "a closing \""},
        {"start with IColorManager", "without I1,I2"},
        {"start skip 7", "a phase that start can skip (5, 6 or 8), not 7"},
        {"start skip", "phase numbers after skip"},
        {"loglevel chatty", "one of DEBUG"},
        {"sim date = hex <<END\nzz\nEND", "hex pairs"},
        {"remove", "a path after remove"},
        {"restart now", "nothing more after restart"},
    };
    for (const auto& c : cases) {
        Script s = parseScript(std::string("wait 1\n") + c.text + "\n");
        ASSERT_EQ(s.errors.size(), 1u) << c.text;
        EXPECT_EQ(s.errors[0].line, 2) << c.text;
        EXPECT_EQ(s.errors[0].message.rfind("expected ", 0), 0u) << s.errors[0].message;
        EXPECT_NE(s.errors[0].message.find(c.expected), std::string::npos) << c.text << " -> " << s.errors[0].message;
    }
}

TEST(ScriptParser, UnterminatedBlockNamesTheOpeningLine)
{
    Script s = parseScript("wait 1\nfile a.txt <<END\nno end here\n");
    ASSERT_EQ(s.errors.size(), 1u);
    EXPECT_EQ(s.errors[0].line, 2);
    EXPECT_NE(s.errors[0].message.find("END"), std::string::npos);
    EXPECT_NE(s.errors[0].message.find("line 2"), std::string::npos);
}

TEST(ScriptParser, EveryErrorIsReportedAndGoodLinesStillParse)
{
    Script s = parseScript("fly\nwait 1\nswim\n");
    ASSERT_EQ(s.errors.size(), 2u);
    EXPECT_EQ(s.errors[0].line, 1);
    EXPECT_EQ(s.errors[1].line, 3);
    EXPECT_EQ(s.commands.size(), 1u);
}

TEST(ScriptParser, CarriageReturnsAreDropped)
{
    Command c = only("fid SETVAR NAME=a VALUE=b\r\n");
    EXPECT_EQ(c.args.back(), "VALUE=b");
}
