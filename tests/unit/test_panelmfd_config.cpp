// Editing ports and mainframe drivers at run time.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/panelmfdharness.h"

namespace {

class ConfigTest : public ::testing::Test {
protected:
    // Starts with the given port lists, one per workplace from 0, and
    // optionally drivers ("<wp> <id>").
    void startWith(const std::vector<std::string>& ports, const std::vector<std::pair<int, std::string>>& drivers = {})
    {
        std::string xml = "<workplaces>";
        for (size_t w = 0; w < ports.size(); ++w) {
            xml += "<workplace id=\"" + std::to_string(w) + "\"><ports>" + ports[w] + "</ports>";
            for (const auto& driver : drivers)
                if (driver.first == static_cast<int>(w))
                    xml += "<mainframeDriver driverID=\"" + driver.second + "\" driverType=\"T" + driver.second +
                           "\" version=\"V" + driver.second + "\" workingDirectory=\"/w/" + driver.second +
                           "\" ipAddress=\"10.0.0." + std::to_string(w) + "\" networkAdapter=\"eth" +
                           std::to_string(w) + "\" interfaceType=\"TCP\"/>";
            xml += "</workplace>";
        }
        xml += "</workplaces>";
        const std::filesystem::path file = h.dir.path() / "host" / "Workplaces.xml";
        testenv::writeFile(file, xml);
        h.start(file.string());
        h.state.clearChanges();
    }

    // The port list of a workplace as it stands in the saved file.
    std::string savedPorts(int w)
    {
        const std::string text = readBytes(h.savedFile());
        const std::string open = "<workplace id=\"" + std::to_string(w) + "\">\n        <ports>";
        const size_t at = text.find(open);
        if (at == std::string::npos) return "(none)";
        const size_t begin = at + open.size();
        return text.substr(begin, text.find("</ports>", begin) - begin);
    }

    std::vector<int> ports(int w)
    {
        std::vector<int> list;
        for (int i = 0; h.state.has("WP" + std::to_string(w) + ".PORTLIST" + std::to_string(i)); ++i)
            list.push_back(std::stoi(h.state.value("WP" + std::to_string(w) + ".PORTLIST" + std::to_string(i))));
        return list;
    }

    bool saved() const { return std::filesystem::exists(h.savedFile()); }
    bool driven() const { return !h.state.changes().empty(); }

    bool addDriver(const std::string& wp, const std::string& id)
    {
        return h.fid("MFD.ADD", {{"WPID", wp},
                                 {"MFDID", id},
                                 {"TYPE", "MAINFRAME"},
                                 {"VERSION", "3.0"},
                                 {"WORKDIR", "/opt/" + id},
                                 {"IFCTYPE", "TCP"}});
    }

    PanelMFDHarness h;
};

} // namespace

// PORT.CONFIG.ASSIGN_WP

TEST_F(ConfigTest, AssignMovesThePortFromTheWorkplaceThatHoldsIt)
{
    startWith({"1 3 5", "2"});
    EXPECT_TRUE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "1"}, {"PORT", "3"}}));
    EXPECT_EQ(savedPorts(0), "1 5");
    EXPECT_EQ(savedPorts(1), "2 3");
    EXPECT_EQ(ports(0), (std::vector<int>{1, 5}));
    EXPECT_EQ(ports(1), (std::vector<int>{2, 3}));
}

TEST_F(ConfigTest, AssignToTheWorkplaceThatHoldsThePortChangesNothing)
{
    startWith({"1 3 5", "2"});
    EXPECT_TRUE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "0"}, {"PORT", "3"}}));
    EXPECT_FALSE(saved());
    EXPECT_FALSE(driven());
}

TEST_F(ConfigTest, AssigningTheOnlyPortEmptiesTheListAndTheNextAssignmentHasNoLeadingBlank)
{
    startWith({"4", "2"});
    EXPECT_TRUE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "1"}, {"PORT", "4"}}));
    // An empty workplace without drivers isn't written.
    EXPECT_EQ(savedPorts(0), "(none)");
    EXPECT_TRUE(ports(0).empty());
    EXPECT_EQ(savedPorts(1), "2 4");
    EXPECT_TRUE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "0"}, {"PORT", "2"}}));
    EXPECT_EQ(savedPorts(0), "2");
    EXPECT_EQ(savedPorts(1), "4");
}

TEST_F(ConfigTest, AssignOfAFreePortAppendsIt)
{
    startWith({"1"});
    EXPECT_TRUE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "3"}, {"PORT", "8"}}));
    EXPECT_EQ(savedPorts(3), "8");
    EXPECT_EQ(ports(3), (std::vector<int>{8}));
}

TEST_F(ConfigTest, AssignTakesThePortOnlyFromTheFirstHolder)
{
    startWith({"2", "5 2", "2 6"});
    EXPECT_TRUE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "2"}, {"PORT", "2"}}));
    EXPECT_EQ(savedPorts(0), "(none)");
    EXPECT_EQ(savedPorts(1), "5 2");
    EXPECT_EQ(savedPorts(2), "2 6 2");
}

TEST_F(ConfigTest, AssignTakesEveryOccurrenceOutOfTheHolder)
{
    startWith({"2 1 2", "3"});
    EXPECT_TRUE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "1"}, {"PORT", "2"}}));
    EXPECT_EQ(savedPorts(0), "1");
    EXPECT_EQ(savedPorts(1), "3 2");
}

TEST_F(ConfigTest, AssignRefusesPortZeroOrNineAndWorkplacesOutOfRange)
{
    startWith({"1"});
    EXPECT_FALSE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "0"}, {"PORT", "0"}}));
    EXPECT_FALSE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "0"}, {"PORT", "9"}}));
    EXPECT_FALSE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "8"}, {"PORT", "2"}}));
    EXPECT_FALSE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "-1"}, {"PORT", "2"}}));
    EXPECT_FALSE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"PORT", "2"}}));
    EXPECT_FALSE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "0"}}));
    EXPECT_FALSE(saved());
    EXPECT_FALSE(driven());
}

// PORT.CONFIG.UNASSIGN

TEST_F(ConfigTest, UnassignOfAPortNoWorkplaceHoldsIsTrueWithoutARewrite)
{
    startWith({"1 2", "3"});
    EXPECT_TRUE(h.fid("PORT.CONFIG.UNASSIGN", {{"PORT", "7"}}));
    EXPECT_FALSE(saved());
    EXPECT_FALSE(driven());
}

TEST_F(ConfigTest, UnassignFreesThePortOfTheFirstHolder)
{
    startWith({"1 2", "3 2"});
    EXPECT_TRUE(h.fid("PORT.CONFIG.UNASSIGN", {{"PORT", "2"}}));
    EXPECT_EQ(savedPorts(0), "1");
    EXPECT_EQ(savedPorts(1), "3 2");
    EXPECT_EQ(ports(0), (std::vector<int>{1}));
}

TEST_F(ConfigTest, UnassignRefusesPortZeroOrNine)
{
    startWith({"1"});
    EXPECT_FALSE(h.fid("PORT.CONFIG.UNASSIGN", {{"PORT", "0"}}));
    EXPECT_FALSE(h.fid("PORT.CONFIG.UNASSIGN", {{"PORT", "9"}}));
    EXPECT_FALSE(h.fid("PORT.CONFIG.UNASSIGN"));
    EXPECT_FALSE(saved());
}

// PORT.CONFIG.SET

TEST_F(ConfigTest, SetSwapsTwoPortsInPlace)
{
    startWith({"1 3 2"});
    EXPECT_TRUE(h.fid("PORT.CONFIG.SET", {{"WPID", "0"}, {"SWAP1", "1"}, {"SWAP2", "2"}}));
    EXPECT_EQ(savedPorts(0), "2 3 1");
    EXPECT_EQ(ports(0), (std::vector<int>{2, 3, 1}));
}

TEST_F(ConfigTest, SetWithOnlyOneOfThePortsIsFalseAndKeepsTheList)
{
    startWith({"1 3"});
    EXPECT_FALSE(h.fid("PORT.CONFIG.SET", {{"WPID", "0"}, {"SWAP1", "1"}, {"SWAP2", "2"}}));
    EXPECT_FALSE(saved());
    EXPECT_FALSE(driven());
}

TEST_F(ConfigTest, SetWithEqualPortsNeedsThePortTwiceAndStillRedoesStateAndFile)
{
    startWith({"4 1 4"});
    EXPECT_FALSE(h.fid("PORT.CONFIG.SET", {{"WPID", "0"}, {"SWAP1", "1"}, {"SWAP2", "1"}}));
    EXPECT_TRUE(h.fid("PORT.CONFIG.SET", {{"WPID", "0"}, {"SWAP1", "4"}, {"SWAP2", "4"}}));
    EXPECT_EQ(savedPorts(0), "4 1 4");
    EXPECT_TRUE(driven());
}

TEST_F(ConfigTest, SetHasNoRangeTestOnThePorts)
{
    startWith({"12 3 -1"});
    EXPECT_TRUE(h.fid("PORT.CONFIG.SET", {{"WPID", "0"}, {"SWAP1", "-1"}, {"SWAP2", "12"}}));
    EXPECT_EQ(savedPorts(0), "-1 3 12");
}

TEST_F(ConfigTest, SetRefusesMissingParametersAndWorkplacesOutOfRange)
{
    startWith({"1 2"});
    EXPECT_FALSE(h.fid("PORT.CONFIG.SET", {{"WPID", "8"}, {"SWAP1", "1"}, {"SWAP2", "2"}}));
    EXPECT_FALSE(h.fid("PORT.CONFIG.SET", {{"SWAP1", "1"}, {"SWAP2", "2"}}));
    EXPECT_FALSE(h.fid("PORT.CONFIG.SET", {{"WPID", "0"}, {"SWAP2", "2"}}));
    EXPECT_FALSE(h.fid("PORT.CONFIG.SET", {{"WPID", "0"}, {"SWAP1", "1"}}));
    EXPECT_FALSE(saved());
}

// MFD.ADD, MFD.REMOVE, MFD.MODIFY

TEST_F(ConfigTest, AddAppendsTheDriverWithAllSevenFields)
{
    startWith({"1"}, {{0, "A"}});
    EXPECT_TRUE(h.fid("MFD.ADD", {{"WPID", "0"},
                                  {"MFDID", "B"},
                                  {"TYPE", "MAINFRAME"},
                                  {"VERSION", "3.0"},
                                  {"WORKDIR", "/opt/b"},
                                  {"IFCTYPE", "TCP"},
                                  {"IPADDR", "10.1.1.1"},
                                  {"NETWORKIFC", "eth2"}}));
    EXPECT_EQ(h.state.value("WP0.MFDCOUNT"), "2");
    EXPECT_EQ(h.state.value("WP0.MFD1"), "B");
    EXPECT_EQ(h.state.value("WP0.MFD1.TYPE"), "MAINFRAME");
    EXPECT_EQ(h.state.value("WP0.MFD1.VERSION"), "3.0");
    EXPECT_EQ(h.state.value("WP0.MFD1.WORKDIR"), "/opt/b");
    EXPECT_EQ(h.state.value("WP0.MFD1.IPADDR"), "10.1.1.1");
    EXPECT_EQ(h.state.value("WP0.MFD1.NETWORKIFC"), "eth2");
    EXPECT_EQ(h.state.value("WP0.MFD1.IFCTYPE"), "TCP");
    EXPECT_NE(readBytes(h.savedFile())
                  .find("<mainframeDriver driverID=\"B\" driverType=\"MAINFRAME\" version=\"3.0\" "
                        "workingDirectory=\"/opt/b\" ipAddress=\"10.1.1.1\" networkAdapter=\"eth2\" "
                        "interfaceType=\"TCP\" />"),
              std::string::npos);
}

TEST_F(ConfigTest, AddWithoutAddressLeavesItEmpty)
{
    startWith({"1"});
    EXPECT_TRUE(addDriver("2", "M"));
    EXPECT_EQ(h.state.value("WP2.MFD0"), "M");
    EXPECT_TRUE(h.state.has("WP2.MFD0.IPADDR"));
    EXPECT_EQ(h.state.value("WP2.MFD0.IPADDR"), "");
    EXPECT_EQ(h.state.value("WP2.MFD0.NETWORKIFC"), "");
}

TEST_F(ConfigTest, AddWithAnIdOfAnotherWorkplaceIsFalse)
{
    startWith({"1", "2"}, {{1, "A"}});
    EXPECT_FALSE(addDriver("0", "A"));
    EXPECT_FALSE(saved());
    EXPECT_FALSE(driven());
}

TEST_F(ConfigTest, AddNeedsEveryRequiredText)
{
    startWith({"1"});
    const std::vector<std::string> required = {"MFDID", "TYPE", "VERSION", "WORKDIR", "IFCTYPE"};
    for (const std::string& missing : required) {
        FIDParameterList list;
        list.add("WPID", "0");
        for (const std::string& name : required)
            if (name != missing) list.add(name, "x");
        EXPECT_FALSE(h.mfd->onFIDMFDAdd("MFD.ADD", &list)) << missing;
    }
    EXPECT_FALSE(addDriver("8", "Z"));
    EXPECT_FALSE(saved());
}

TEST_F(ConfigTest, RemoveTakesTheDriverOutOfAllSevenLists)
{
    startWith({"1"}, {{0, "A"}, {0, "B"}, {0, "C"}});
    EXPECT_TRUE(h.fid("MFD.REMOVE", {{"WPID", "0"}, {"MFDID", "B"}}));
    EXPECT_EQ(h.state.value("WP0.MFDCOUNT"), "2");
    EXPECT_EQ(h.state.value("WP0.MFD1"), "C");
    EXPECT_EQ(h.state.value("WP0.MFD1.TYPE"), "TC");
    EXPECT_EQ(h.state.value("WP0.MFD1.VERSION"), "VC");
    EXPECT_EQ(h.state.value("WP0.MFD1.WORKDIR"), "/w/C");
    const std::string text = readBytes(h.savedFile());
    EXPECT_EQ(text.find("\"B\""), std::string::npos);
    EXPECT_NE(text.find("driverID=\"C\" driverType=\"TC\" version=\"VC\" workingDirectory=\"/w/C\""),
              std::string::npos);
}

TEST_F(ConfigTest, RemoveWithAnIdOfAnotherWorkplaceIsFalse)
{
    startWith({"1", "2"}, {{1, "A"}});
    EXPECT_FALSE(h.fid("MFD.REMOVE", {{"WPID", "0"}, {"MFDID", "A"}}));
    EXPECT_FALSE(h.fid("MFD.REMOVE", {{"WPID", "1"}}));
    EXPECT_FALSE(h.fid("MFD.REMOVE", {{"WPID", "9"}, {"MFDID", "A"}}));
    EXPECT_FALSE(saved());
}

TEST_F(ConfigTest, ModifySetsTheNamedComponent)
{
    startWith({"1"}, {{0, "A"}, {0, "B"}});
    EXPECT_TRUE(h.fid("MFD.MODIFY", {{"WPID", "0"}, {"MFDID", "B"}, {"COMPONENT", "IPADDR"}, {"VALUE", "1.2.3.4"}}));
    EXPECT_TRUE(h.fid("MFD.MODIFY", {{"WPID", "0"}, {"MFDID", "B"}, {"COMPONENT", "IFCTYPE"}, {"VALUE", "UDP"}}));
    EXPECT_TRUE(h.fid("MFD.MODIFY", {{"WPID", "0"}, {"MFDID", "B"}, {"COMPONENT", "NETWORKIFC"}, {"VALUE", "eth9"}}));
    EXPECT_TRUE(h.fid("MFD.MODIFY", {{"WPID", "0"}, {"MFDID", "B"}, {"COMPONENT", "WORKDIR"}, {"VALUE", "/new"}}));
    EXPECT_EQ(h.state.value("WP0.MFD1.IPADDR"), "1.2.3.4");
    EXPECT_EQ(h.state.value("WP0.MFD1.IFCTYPE"), "UDP");
    EXPECT_EQ(h.state.value("WP0.MFD1.NETWORKIFC"), "eth9");
    EXPECT_EQ(h.state.value("WP0.MFD1.WORKDIR"), "/new");
    EXPECT_EQ(h.state.value("WP0.MFD0.IPADDR"), "10.0.0.0");
    EXPECT_NE(readBytes(h.savedFile())
                  .find("driverID=\"B\" driverType=\"TB\" version=\"VB\" workingDirectory=\"/new\" "
                        "ipAddress=\"1.2.3.4\" networkAdapter=\"eth9\" interfaceType=\"UDP\""),
              std::string::npos);
}

TEST_F(ConfigTest, ModifyOfTheVersionIsTrueChangesNothingAndRedoesStateAndFile)
{
    startWith({"1"}, {{0, "A"}});
    EXPECT_TRUE(h.fid("MFD.MODIFY", {{"WPID", "0"}, {"MFDID", "A"}, {"COMPONENT", "VERSION"}, {"VALUE", "9"}}));
    EXPECT_EQ(h.state.value("WP0.MFD0.VERSION"), "VA");
    EXPECT_TRUE(driven());
    EXPECT_TRUE(saved());
    EXPECT_NE(readBytes(h.savedFile()).find("version=\"VA\""), std::string::npos);
}

TEST_F(ConfigTest, ModifyRefusesUnknownDriversAndMissingParameters)
{
    startWith({"1"}, {{0, "A"}});
    EXPECT_FALSE(h.fid("MFD.MODIFY", {{"WPID", "1"}, {"MFDID", "A"}, {"COMPONENT", "IPADDR"}, {"VALUE", "x"}}));
    EXPECT_FALSE(h.fid("MFD.MODIFY", {{"WPID", "0"}, {"MFDID", "A"}, {"COMPONENT", "IPADDR"}}));
    EXPECT_FALSE(h.fid("MFD.MODIFY", {{"WPID", "0"}, {"MFDID", "A"}, {"VALUE", "x"}}));
    EXPECT_FALSE(h.fid("MFD.MODIFY", {{"WPID", "0"}, {"COMPONENT", "IPADDR"}, {"VALUE", "x"}}));
    EXPECT_FALSE(h.fid("MFD.MODIFY", {{"MFDID", "A"}, {"COMPONENT", "IPADDR"}, {"VALUE", "x"}}));
    EXPECT_FALSE(saved());
    EXPECT_FALSE(driven());
}

TEST_F(ConfigTest, EveryChangeDrivesTheStateBeforeTheFileIsWritten)
{
    startWith({"1"});
    std::filesystem::create_directories(h.savedFile());
    EXPECT_TRUE(addDriver("0", "A"));
    EXPECT_EQ(h.state.value("WP0.MFD0"), "A");
    EXPECT_TRUE(std::filesystem::is_directory(h.savedFile()));
}
