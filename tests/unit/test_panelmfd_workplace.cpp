// The workplace file (reading, writing, signing) and the workplace state.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>

#include "panelsys/XMLVerify.h"
#include "support/hostilepaths.h"
#include "support/logcapture.h"
#include "support/panelmfdharness.h"

namespace {

const std::string kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";
const std::string kRootOpen =
    "<workplaces xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xsi:noNamespaceSchemaLocation=\"Schema/Workplaces.xsd\" description=\"Workplace configuration\" "
    "version=\"0.1\">\n";

std::string driverLine(const std::string& id, const std::string& type, const std::string& version,
                       const std::string& workDir, const std::string& ip, const std::string& adapter,
                       const std::string& interfaceType)
{
    return "        <mainframeDriver driverID=\"" + id + "\" driverType=\"" + type + "\" version=\"" + version +
           "\" workingDirectory=\"" + workDir + "\" ipAddress=\"" + ip + "\" networkAdapter=\"" + adapter +
           "\" interfaceType=\"" + interfaceType + "\" />\n";
}

class WorkplaceTest : public ::testing::Test {
protected:
    // Writes the file under the run directory and starts the driver with it.
    void startWith(const std::string& contents, const std::string& name = "host/Workplaces.xml")
    {
        const std::filesystem::path file = h.dir.path() / name;
        testenv::writeFile(file, contents);
        h.start(file.string());
    }

    std::string wp(int w, const std::string& rest) const { return h.state.value("WP" + std::to_string(w) + rest); }
    // A workplace file name under which no file exists yet.
    std::string absentFile() const { return (h.dir.path() / "host" / "Workplaces.xml").string(); }

    bool hasWp(int w, const std::string& rest) const { return h.state.has("WP" + std::to_string(w) + rest); }

    // Every workplace empty: its port list ends at index 0 and it has no driver.
    void expectAllEmpty()
    {
        for (int w = 0; w < 8; ++w) {
            EXPECT_FALSE(hasWp(w, ".PORTLIST0")) << w;
            EXPECT_EQ(wp(w, ".MFDCOUNT"), "0") << w;
            EXPECT_FALSE(hasWp(w, ".MFD0")) << w;
        }
    }

    // Saves the present tables by a change that alters nothing else.
    void save()
    {
        ASSERT_TRUE(h.fid("MFD.ADD", {{"WPID", "7"},
                                      {"MFDID", "TMP"},
                                      {"TYPE", "T"},
                                      {"VERSION", "V"},
                                      {"WORKDIR", "W"},
                                      {"IFCTYPE", "I"}}));
        ASSERT_TRUE(h.fid("MFD.REMOVE", {{"WPID", "7"}, {"MFDID", "TMP"}}));
    }

    PanelMFDHarness h;
};

const std::string kTwoWorkplaces = kHead + kRootOpen +
                                   "    <workplace id=\"0\">\n"
                                   "        <ports>1 3 5</ports>\n" +
                                   driverLine("MFD1", "MAINFRAME", "2.1", "/opt/mfd1", "10.0.0.1", "eth1", "TCP") +
                                   "    </workplace>\n"
                                   "    <workplace id=\"2\">\n"
                                   "        <ports>2</ports>\n" +
                                   driverLine("MFD2", "MAINFRAME", "2.2", "/opt/mfd2", "", "", "SERIAL") +
                                   driverLine("MFD3", "ROUTER", "1.0", "/opt/mfd3", "10.0.0.3", "eth0", "TCP") +
                                   "    </workplace>\n"
                                   "</workplaces>\n";

} // namespace

TEST_F(WorkplaceTest, FileIsReadIntoTheWorkplaceState)
{
    startWith(kTwoWorkplaces);
    EXPECT_EQ(wp(0, ".PORTLIST0"), "1");
    EXPECT_EQ(wp(0, ".PORTLIST1"), "3");
    EXPECT_EQ(wp(0, ".PORTLIST2"), "5");
    EXPECT_FALSE(hasWp(0, ".PORTLIST3"));
    EXPECT_EQ(wp(0, ".MFDCOUNT"), "1");
    EXPECT_EQ(wp(0, ".MFD0"), "MFD1");
    EXPECT_EQ(wp(0, ".MFD0.TYPE"), "MAINFRAME");
    EXPECT_EQ(wp(0, ".MFD0.VERSION"), "2.1");
    EXPECT_EQ(wp(0, ".MFD0.WORKDIR"), "/opt/mfd1");
    EXPECT_EQ(wp(0, ".MFD0.IPADDR"), "10.0.0.1");
    EXPECT_EQ(wp(0, ".MFD0.NETWORKIFC"), "eth1");
    EXPECT_EQ(wp(0, ".MFD0.IFCTYPE"), "TCP");
    EXPECT_EQ(wp(2, ".PORTLIST0"), "2");
    EXPECT_EQ(wp(2, ".MFDCOUNT"), "2");
    EXPECT_EQ(wp(2, ".MFD1"), "MFD3");
    EXPECT_EQ(wp(2, ".MFD1.TYPE"), "ROUTER");
    EXPECT_EQ(wp(2, ".MFD0.IPADDR"), "");
    EXPECT_EQ(wp(1, ".MFDCOUNT"), "0");
}

TEST_F(WorkplaceTest, NoFileNameGivesEightEmptyWorkplaces)
{
    h.start("");
    expectAllEmpty();
}

TEST_F(WorkplaceTest, WithoutFileNameSavesGoToTheConfigurationDirectoryItselfAndFail)
{
    LogCapture log;
    h.start("");
    EXPECT_TRUE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "0"}, {"PORT", "1"}}));
    const auto lines = log.lines();
    EXPECT_NE(std::find(lines.begin(), lines.end(),
                        "ERROR PanelDriver: Failed to save workplace file " + h.configDir().string()),
              lines.end());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(h.configDir()), {}), 0);
}

TEST_F(WorkplaceTest, MissingFileGivesEightEmptyWorkplaces)
{
    h.start((h.dir.path() / "nothing.xml").string());
    expectAllEmpty();
}

TEST_F(WorkplaceTest, FileNotWellFormedGivesEightEmptyWorkplaces)
{
    std::string damaged = kTwoWorkplaces;
    damaged.resize(damaged.size() - 20);
    startWith(damaged);
    expectAllEmpty();
}

TEST_F(WorkplaceTest, FileNotWellFormedLogsNothing)
{
    LogCapture log;
    std::string damaged = kTwoWorkplaces;
    damaged.resize(damaged.size() - 20);
    startWith(damaged);
    for (const std::string& line : log.lines()) EXPECT_EQ(line.find("workplace file"), std::string::npos) << line;
}

TEST_F(WorkplaceTest, RefusedFileGivesEightEmptyWorkplacesWithItsLine)
{
    const std::filesystem::path file = h.dir.path() / "host" / "Workplaces.xml";
    for (const auto& c : testenv::hostilePaths(file, kHead, "workplaces")) {
        LogCapture log;
        std::filesystem::create_directories(file.parent_path());
        c.make();
        h.start(file.string());
        expectAllEmpty();
        const auto lines = log.lines();
        EXPECT_NE(std::find(lines.begin(), lines.end(),
                            "ERROR PanelDriver: Refused workplace file " + file.string() + ": " + c.what),
                  lines.end())
            << c.what;
        h.mfd.reset();
        std::filesystem::remove(file);
    }
}

TEST_F(WorkplaceTest, RootOfAnotherNameGivesEightEmptyWorkplaces)
{
    startWith(kHead + "<workplace id=\"0\"><ports>1</ports></workplace>\n");
    expectAllEmpty();
}

TEST_F(WorkplaceTest, CommentBeforeTheRootIsHarmless)
{
    startWith(kHead + "<!-- panel configuration -->\n" +
              "<workplaces><workplace id=\"1\"><ports>4</ports></workplace></workplaces>\n");
    EXPECT_EQ(wp(1, ".PORTLIST0"), "4");
}

TEST_F(WorkplaceTest, RootAttributesAreNotLookedAt)
{
    startWith("<workplaces version=\"9.9\" description=\"x\"><workplace id=\"3\"><ports>8</ports></workplace>"
              "</workplaces>");
    EXPECT_EQ(wp(3, ".PORTLIST0"), "8");
}

TEST_F(WorkplaceTest, SingleWorkplaceWithId8GivesEightEmptyWorkplaces)
{
    startWith("<workplaces><workplace id=\"8\"><ports>1</ports></workplace></workplaces>");
    expectAllEmpty();
}

TEST_F(WorkplaceTest, Id8InTheSecondWorkplaceKeepsTheFirst)
{
    startWith("<workplaces><workplace id=\"0\"><ports>1 2</ports></workplace>"
              "<workplace id=\"8\"><ports>3</ports></workplace>"
              "<workplace id=\"1\"><ports>4</ports></workplace></workplaces>");
    EXPECT_EQ(wp(0, ".PORTLIST1"), "2");
    EXPECT_FALSE(hasWp(1, ".PORTLIST0"));
}

TEST_F(WorkplaceTest, NegativeOrMissingIdEndsReading)
{
    startWith("<workplaces><workplace id=\"2\"><ports>1</ports></workplace>"
              "<workplace><ports>3</ports></workplace>"
              "<workplace id=\"3\"><ports>4</ports></workplace></workplaces>");
    EXPECT_EQ(wp(2, ".PORTLIST0"), "1");
    EXPECT_FALSE(hasWp(3, ".PORTLIST0"));
}

TEST_F(WorkplaceTest, NegativeIdEndsReading)
{
    startWith("<workplaces><workplace id=\"-1\"><ports>1</ports></workplace></workplaces>");
    expectAllEmpty();
}

TEST_F(WorkplaceTest, DriverWithoutTypeEndsReadingWhileEarlierDriversStay)
{
    startWith("<workplaces><workplace id=\"0\"><ports>1</ports>"
              "<mainframeDriver driverID=\"A\" driverType=\"T\"/>"
              "<mainframeDriver driverID=\"B\"/>"
              "<mainframeDriver driverID=\"C\" driverType=\"T\"/></workplace>"
              "<workplace id=\"1\"><ports>2</ports></workplace></workplaces>");
    EXPECT_EQ(wp(0, ".MFDCOUNT"), "1");
    EXPECT_EQ(wp(0, ".MFD0"), "A");
    EXPECT_FALSE(hasWp(1, ".PORTLIST0"));
}

TEST_F(WorkplaceTest, DriverWithoutIdEndsReading)
{
    startWith("<workplaces><workplace id=\"0\"><mainframeDriver driverType=\"T\"/>"
              "<ports>1</ports></workplace></workplaces>");
    expectAllEmpty();
}

TEST_F(WorkplaceTest, CommentBetweenWorkplacesCutsTheConfigurationOff)
{
    startWith("<workplaces><workplace id=\"0\"><ports>1</ports></workplace><!-- cut -->"
              "<workplace id=\"1\"><ports>2</ports></workplace></workplaces>");
    EXPECT_EQ(wp(0, ".PORTLIST0"), "1");
    EXPECT_FALSE(hasWp(1, ".PORTLIST0"));
}

TEST_F(WorkplaceTest, CommentInsideAWorkplaceCutsTheConfigurationOff)
{
    startWith("<workplaces><workplace id=\"0\"><ports>1</ports>"
              "<mainframeDriver driverID=\"A\" driverType=\"T\"/><!-- cut -->"
              "<mainframeDriver driverID=\"B\" driverType=\"T\"/></workplace>"
              "<workplace id=\"1\"><ports>2</ports></workplace></workplaces>");
    EXPECT_EQ(wp(0, ".PORTLIST0"), "1");
    EXPECT_EQ(wp(0, ".MFDCOUNT"), "1");
    EXPECT_FALSE(hasWp(1, ".PORTLIST0"));
}

TEST_F(WorkplaceTest, TextBesideTheWorkplacesEndsReading)
{
    startWith("<workplaces><workplace id=\"0\"><ports>1</ports></workplace>stray"
              "<workplace id=\"1\"><ports>2</ports></workplace></workplaces>");
    EXPECT_EQ(wp(0, ".PORTLIST0"), "1");
    EXPECT_FALSE(hasWp(1, ".PORTLIST0"));
}

TEST_F(WorkplaceTest, ElementOfAnotherNameBetweenWorkplacesEndsReading)
{
    startWith("<workplaces><workplace id=\"0\"><ports>1</ports></workplace><other/>"
              "<workplace id=\"1\"><ports>2</ports></workplace></workplaces>");
    EXPECT_EQ(wp(0, ".PORTLIST0"), "1");
    EXPECT_FALSE(hasWp(1, ".PORTLIST0"));
}

TEST_F(WorkplaceTest, UnknownElementsAndAttributesInsideAWorkplaceArePassedOver)
{
    startWith("<workplaces><workplace id=\"0\" name=\"x\"><panel/><ports>6</ports>"
              "<mainframeDriver extra=\"1\" driverID=\"A\" driverType=\"T\"/></workplace></workplaces>");
    EXPECT_EQ(wp(0, ".PORTLIST0"), "6");
    EXPECT_EQ(wp(0, ".MFD0"), "A");
    EXPECT_EQ(wp(0, ".MFD0.VERSION"), "");
    EXPECT_EQ(wp(0, ".MFD0.WORKDIR"), "");
    EXPECT_EQ(wp(0, ".MFD0.IFCTYPE"), "");
}

TEST_F(WorkplaceTest, WorkplaceTwiceAddsDriversAndOverwritesPorts)
{
    startWith("<workplaces><workplace id=\"4\"><ports>1</ports><mainframeDriver driverID=\"A\" driverType=\"T\"/>"
              "</workplace><workplace id=\"4\"><ports>2 3</ports><mainframeDriver driverID=\"B\" driverType=\"T\"/>"
              "</workplace></workplaces>");
    EXPECT_EQ(wp(4, ".PORTLIST0"), "2");
    EXPECT_EQ(wp(4, ".PORTLIST1"), "3");
    EXPECT_EQ(wp(4, ".MFDCOUNT"), "2");
    EXPECT_EQ(wp(4, ".MFD0"), "A");
    EXPECT_EQ(wp(4, ".MFD1"), "B");
}

TEST_F(WorkplaceTest, PortsWithoutTextAreEmpty)
{
    startWith("<workplaces><workplace id=\"0\"><ports><x/></ports></workplace></workplaces>");
    EXPECT_FALSE(hasWp(0, ".PORTLIST0"));
}

TEST_F(WorkplaceTest, SignatureIsNotTestedAtReading)
{
    startWith("<workplaces signature=\"00\"><workplace id=\"0\"><ports>7</ports></workplace></workplaces>");
    EXPECT_EQ(wp(0, ".PORTLIST0"), "7");
}

TEST_F(WorkplaceTest, SaveWritesTheFileByteForByteAndSignsIt)
{
    startWith(kTwoWorkplaces);
    save();
    const std::string written = readBytes(h.savedFile());
    EXPECT_EQ(withoutSignature(written), kTwoWorkplaces);
    EXPECT_NE(written.find(" signature=\""), std::string::npos);
    XMLVerify verify;
    EXPECT_TRUE(verify.verifySignature(oskit::Path(h.savedFile().string())));
}

TEST_F(WorkplaceTest, SaveLeavesNoTemporaryFileBehind)
{
    startWith(kTwoWorkplaces);
    save();
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(h.configDir()))
        names.push_back(entry.path().filename().string());
    EXPECT_EQ(names, std::vector<std::string>{"Workplaces.xml"});
}

TEST_F(WorkplaceTest, WorkplaceWithOnlyEmptyPortsIsNotWrittenAgain)
{
    startWith("<workplaces><workplace id=\"1\"><ports></ports></workplace>"
              "<workplace id=\"2\"><ports>1</ports></workplace></workplaces>");
    save();
    EXPECT_EQ(withoutSignature(readBytes(h.savedFile())),
              kHead + kRootOpen + "    <workplace id=\"2\">\n        <ports>1</ports>\n    </workplace>\n</workplaces>\n");
}

TEST_F(WorkplaceTest, DriversWithEmptyPortsWriteAnEmptyPortsElementThatReadsBackEmpty)
{
    h.start(absentFile());
    ASSERT_TRUE(h.fid("MFD.ADD", {{"WPID", "5"},
                                  {"MFDID", "M"},
                                  {"TYPE", "T"},
                                  {"VERSION", "1"},
                                  {"WORKDIR", "/w"},
                                  {"IFCTYPE", "TCP"}}));
    const std::string expected = kHead + kRootOpen + "    <workplace id=\"5\">\n        <ports></ports>\n" +
                                 driverLine("M", "T", "1", "/w", "", "", "TCP") + "    </workplace>\n</workplaces>\n";
    EXPECT_EQ(withoutSignature(readBytes(h.savedFile())), expected);

    PanelMFDHarness again;
    testenv::writeFile(again.dir.path() / "Workplaces.xml", readBytes(h.savedFile()));
    again.start((again.dir.path() / "Workplaces.xml").string());
    EXPECT_FALSE(again.state.has("WP5.PORTLIST0"));
    EXPECT_EQ(again.state.value("WP5.MFD0"), "M");
    EXPECT_EQ(again.state.value("WP5.MFD0.WORKDIR"), "/w");
}

TEST_F(WorkplaceTest, WrittenFileReadsBackToTheSameState)
{
    startWith(kTwoWorkplaces);
    save();
    PanelMFDHarness again;
    testenv::writeFile(again.dir.path() / "Workplaces.xml", readBytes(h.savedFile()));
    again.start((again.dir.path() / "Workplaces.xml").string());
    for (const std::string key : {"WP0.PORTLIST2", "WP0.MFD0.NETWORKIFC", "WP2.MFD1.IFCTYPE", "WP2.MFDCOUNT"})
        EXPECT_EQ(again.state.value(key), h.state.value(key)) << key;
}

TEST_F(WorkplaceTest, AfterTheFirstSaveTheFileNameIsUnderTheConfigurationDirectory)
{
    startWith(kTwoWorkplaces, "elsewhere/Panel.xml");
    const std::string original = readBytes(h.dir.path() / "elsewhere/Panel.xml");
    EXPECT_EQ(h.mfd->getWorkplaceConfigFilename(), (h.dir.path() / "elsewhere/Panel.xml").string());
    save();
    EXPECT_EQ(h.mfd->getWorkplaceConfigFilename(), (h.configDir() / "Panel.xml").string());
    EXPECT_TRUE(std::filesystem::exists(h.configDir() / "Panel.xml"));
    EXPECT_EQ(readBytes(h.dir.path() / "elsewhere/Panel.xml"), original);
}

TEST_F(WorkplaceTest, DriverAddedWithEmptyTypeEndsTheNextRead)
{
    h.start(absentFile());
    ASSERT_TRUE(h.fid("MFD.ADD", {{"WPID", "0"},
                                  {"MFDID", "A"},
                                  {"TYPE", "T"},
                                  {"VERSION", "1"},
                                  {"WORKDIR", "/a"},
                                  {"IFCTYPE", "TCP"}}));
    ASSERT_TRUE(h.fid("MFD.ADD", {{"WPID", "0"},
                                  {"MFDID", "B"},
                                  {"TYPE", ""},
                                  {"VERSION", "1"},
                                  {"WORKDIR", "/b"},
                                  {"IFCTYPE", "TCP"}}));
    ASSERT_TRUE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "1"}, {"PORT", "2"}}));
    EXPECT_NE(readBytes(h.savedFile()).find("driverID=\"B\" driverType=\"\""), std::string::npos);

    PanelMFDHarness again;
    testenv::writeFile(again.dir.path() / "Workplaces.xml", readBytes(h.savedFile()));
    again.start((again.dir.path() / "Workplaces.xml").string());
    EXPECT_EQ(again.state.value("WP0.MFDCOUNT"), "1");
    EXPECT_EQ(again.state.value("WP0.MFD0"), "A");
    EXPECT_FALSE(again.state.has("WP1.PORTLIST0"));
}

TEST_F(WorkplaceTest, EmptyConfigurationDirectoryFailsTheSaveWithAnEmptyName)
{
    LogCapture log;
    h.create("");
    h.finish("");
    EXPECT_TRUE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "0"}, {"PORT", "1"}}));
    const auto lines = log.lines();
    EXPECT_NE(std::find(lines.begin(), lines.end(), "ERROR PanelDriver: Failed to save workplace file "), lines.end());
    EXPECT_EQ(h.mfd->getWorkplaceConfigFilename(), "");
    EXPECT_EQ(h.state.value("WP0.PORTLIST0"), "1");
}

TEST_F(WorkplaceTest, FolderInPlaceOfTheFileFailsTheSaveAndKeepsTheChange)
{
    std::filesystem::create_directories(h.configDir() / "Workplaces.xml");
    LogCapture log;
    h.start(absentFile());
    EXPECT_TRUE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "3"}, {"PORT", "4"}}));
    const auto lines = log.lines();
    const std::string expected = "ERROR PanelDriver: Failed to save workplace file " + h.savedFile().string();
    EXPECT_NE(std::find(lines.begin(), lines.end(), expected), lines.end());
    EXPECT_TRUE(std::filesystem::is_directory(h.savedFile()));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(h.configDir()), {}), 1);
    EXPECT_EQ(h.state.value("WP3.PORTLIST0"), "4");
}

TEST_F(WorkplaceTest, FailedSaveKeepsThePreviousFileWhole)
{
    h.start(absentFile());
    ASSERT_TRUE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "0"}, {"PORT", "1"}}));
    const std::string before = readBytes(h.savedFile());
    ASSERT_FALSE(before.empty());

    // A file size limit below the file's size makes the write fail part-way.
    struct rlimit previous {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &previous), 0);
    void (*previousHandler)(int) = signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = previous;
    small.rlim_cur = 64;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    LogCapture log;
    const bool result = h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "1"}, {"PORT", "2"}});
    setrlimit(RLIMIT_FSIZE, &previous);
    signal(SIGXFSZ, previousHandler);

    EXPECT_TRUE(result);
    EXPECT_EQ(readBytes(h.savedFile()), before);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(h.configDir()), {}), 1);
    const auto lines = log.lines();
    EXPECT_NE(std::find(lines.begin(), lines.end(),
                        "ERROR PanelDriver: Failed to save workplace file " + h.savedFile().string()),
              lines.end());
    EXPECT_EQ(h.state.value("WP1.PORTLIST0"), "2");
}

// State publication.

TEST_F(WorkplaceTest, EmptyPortsUnsetIndexZeroOnly)
{
    h.start("");
    for (int w = 0; w < 8; ++w) {
        const std::string prefix = "WP" + std::to_string(w) + ".PORTLIST";
        EXPECT_EQ(h.state.changesStartingWith("unset " + prefix), std::vector<std::string>{"unset " + prefix + "0"});
        EXPECT_TRUE(h.state.changesStartingWith("int " + prefix).empty());
    }
}

TEST_F(WorkplaceTest, PortsThreeAndSevenFillIndexZeroAndOneAndUnsetTwo)
{
    startWith("<workplaces><workplace id=\"6\"><ports>3 7</ports></workplace></workplaces>");
    EXPECT_EQ(h.state.changesStartingWith("int WP6.PORTLIST"),
              (std::vector<std::string>{"int WP6.PORTLIST0=3", "int WP6.PORTLIST1=7"}));
    EXPECT_EQ(h.state.changesStartingWith("unset WP6.PORTLIST"), std::vector<std::string>{"unset WP6.PORTLIST2"});
}

TEST_F(WorkplaceTest, LetterBetweenPortsEndsTheList)
{
    startWith("<workplaces><workplace id=\"0\"><ports>3 x 7</ports></workplace></workplaces>");
    EXPECT_EQ(h.state.changesStartingWith("int WP0.PORTLIST"), std::vector<std::string>{"int WP0.PORTLIST0=3"});
    EXPECT_EQ(h.state.changesStartingWith("unset WP0.PORTLIST"), std::vector<std::string>{"unset WP0.PORTLIST1"});
}

TEST_F(WorkplaceTest, ShorterListLeavesOldEntriesBehindTheGap)
{
    startWith("<workplaces><workplace id=\"0\"><ports>1 2 3</ports></workplace></workplaces>");
    ASSERT_TRUE(h.fid("PORT.CONFIG.UNASSIGN", {{"PORT", "1"}}));
    EXPECT_EQ(wp(0, ".PORTLIST0"), "2");
    EXPECT_EQ(wp(0, ".PORTLIST1"), "3");
    EXPECT_FALSE(hasWp(0, ".PORTLIST2"));
    ASSERT_TRUE(h.fid("PORT.CONFIG.UNASSIGN", {{"PORT", "2"}}));
    EXPECT_FALSE(hasWp(0, ".PORTLIST1"));
    EXPECT_FALSE(hasWp(0, ".PORTLIST2"));
}

TEST_F(WorkplaceTest, DriverKeysArePublishedInTableOrderThenTheCount)
{
    startWith(kTwoWorkplaces);
    const auto changes = h.state.changesStartingWith("set WP0.MFD");
    EXPECT_EQ(changes, (std::vector<std::string>{"set WP0.MFD0=MFD1", "set WP0.MFD0.TYPE=MAINFRAME",
                                                 "set WP0.MFD0.VERSION=2.1", "set WP0.MFD0.WORKDIR=/opt/mfd1",
                                                 "set WP0.MFD0.IPADDR=10.0.0.1", "set WP0.MFD0.NETWORKIFC=eth1",
                                                 "set WP0.MFD0.IFCTYPE=TCP"}));
    const auto all = h.state.changes();
    const auto count = std::find(all.begin(), all.end(), "int WP0.MFDCOUNT=1");
    const auto last = std::find(all.begin(), all.end(), "set WP0.MFD0.IFCTYPE=TCP");
    ASSERT_NE(count, all.end());
    EXPECT_LT(last, count);
}

TEST_F(WorkplaceTest, WorkplacesArePublishedInAscendingOrder)
{
    startWith(kTwoWorkplaces);
    std::vector<std::string> counts;
    for (const std::string& change : h.state.changes())
        if (change.find(".MFDCOUNT=") != std::string::npos) counts.push_back(change.substr(4, 3));
    EXPECT_EQ(counts, (std::vector<std::string>{"WP0", "WP1", "WP2", "WP3", "WP4", "WP5", "WP6", "WP7"}));
}

TEST_F(WorkplaceTest, RemovingOneOfTwoDriversCountsOneAndLeavesTheOldKeys)
{
    startWith(kTwoWorkplaces);
    ASSERT_TRUE(h.fid("MFD.REMOVE", {{"WPID", "2"}, {"MFDID", "MFD2"}}));
    EXPECT_EQ(wp(2, ".MFDCOUNT"), "1");
    EXPECT_EQ(wp(2, ".MFD0"), "MFD3");
    EXPECT_EQ(wp(2, ".MFD1"), "MFD3");
    EXPECT_EQ(wp(2, ".MFD1.TYPE"), "ROUTER");
}

TEST(RebootIndication, TwentyFiveHoursAndFiveMinutesShowOneAndFive)
{
    EXPECT_EQ(PanelMFD::formatRebootIndication(25 * 3600 + 5 * 60 + 59), "01:05");
}

TEST(RebootIndication, HoursAndMinutesHaveTwoDigits)
{
    EXPECT_EQ(PanelMFD::formatRebootIndication(0), "00:00");
    EXPECT_EQ(PanelMFD::formatRebootIndication(59), "00:00");
    EXPECT_EQ(PanelMFD::formatRebootIndication(23 * 3600 + 59 * 60), "23:59");
    EXPECT_EQ(PanelMFD::formatRebootIndication(24 * 3600), "00:00");
}

TEST(RebootIndication, ClockSetBackCountsAsNoTime)
{
    EXPECT_EQ(PanelMFD::formatRebootIndication(-30), "00:00");
}

TEST_F(WorkplaceTest, IndicationIsPublishedAtInitialisation)
{
    h.create();
    EXPECT_EQ(h.state.value("SYSTEM.REBOOT_INDICATION"), "00:00");
}

// ---- texts the workplace file could not keep -------------------------------------------------

TEST_F(WorkplaceTest, DriverValueWithMalformedUtf8IsRefusedAndTheFileStays)
{
    startWith(kTwoWorkplaces);
    save();
    const std::string stored = readBytes(h.savedFile());
    const size_t mark = h.state.changeCount();
    LogCapture log;
    EXPECT_FALSE(h.fid("MFD.ADD", {{"WPID", "3"},
                                   {"MFDID", "NEW"},
                                   {"TYPE", "T"},
                                   {"VERSION", "1"},
                                   {"WORKDIR", "/opt/\xff"},
                                   {"IFCTYPE", "TCP"}}));
    EXPECT_FALSE(h.fid("MFD.ADD", {{"WPID", "3"},
                                   {"MFDID", "NEW"},
                                   {"TYPE", "T"},
                                   {"VERSION", "1"},
                                   {"WORKDIR", "/w"},
                                   {"IFCTYPE", "TCP"},
                                   {"NETWORKIFC", "eth\xc3"}}));
    EXPECT_FALSE(h.fid("MFD.MODIFY", {{"WPID", "0"}, {"MFDID", "MFD1"}, {"COMPONENT", "WORKDIR"}, {"VALUE", "\xe0\x80"}}));
    const auto lines = log.lines();
    EXPECT_NE(std::find(lines.begin(), lines.end(),
                        "ERROR PanelDriver: MFD.ADD refused: malformed UTF-8 in a driver value"),
              lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(),
                        "ERROR PanelDriver: MFD.ADD refused: UTF-8 sequence cut at the end in a driver value"),
              lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(),
                        "ERROR PanelDriver: MFD.MODIFY refused: malformed UTF-8 in a driver value"),
              lines.end());
    EXPECT_EQ(h.state.changeCount(), mark);
    EXPECT_EQ(wp(3, ".MFDCOUNT"), "0");
    EXPECT_EQ(wp(0, ".MFD0.WORKDIR"), "/opt/mfd1");
    EXPECT_EQ(readBytes(h.savedFile()), stored);

    PanelMFDHarness again;
    testenv::writeFile(again.dir.path() / "Workplaces.xml", stored);
    again.start((again.dir.path() / "Workplaces.xml").string());
    EXPECT_EQ(again.state.value("WP0.MFD0.WORKDIR"), "/opt/mfd1");
    EXPECT_EQ(again.state.value("WP2.MFDCOUNT"), "2");
}

TEST_F(WorkplaceTest, DriverValueWithOtherCharactersIsKeptAndReadsBack)
{
    h.start(absentFile());
    ASSERT_TRUE(h.fid("MFD.ADD", {{"WPID", "4"},
                                  {"MFDID", "M\xc3\xa4"},
                                  {"TYPE", "T"},
                                  {"VERSION", "1"},
                                  {"WORKDIR", "/w\x01\x09<&>\""},
                                  {"IFCTYPE", "TCP"}}));
    PanelMFDHarness again;
    testenv::writeFile(again.dir.path() / "Workplaces.xml", readBytes(h.savedFile()));
    again.start((again.dir.path() / "Workplaces.xml").string());
    EXPECT_EQ(again.state.value("WP4.MFD0"), "M\xc3\xa4");
    EXPECT_EQ(again.state.value("WP4.MFD0.WORKDIR"), "/w\x01\x09<&>\"");
}
