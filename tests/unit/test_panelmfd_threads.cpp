// The hardware update thread, the uptime thread, the date and time, and the
// workplace tables changed on several threads at once.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

#include "support/hostgate.h"
#include "support/panelmfdharness.h"

using ::testing::_;
using ::testing::AnyNumber;
using ::testing::DoAll;
using ::testing::Invoke;
using ::testing::Return;
using ::testing::SetArgReferee;

namespace {

// Counts the host's counter queries and lets a test wait for a number of them.
class QueryCounter {
public:
    void add()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_count;
        m_changed.notify_all();
    }
    bool waitFor(int count, std::chrono::milliseconds timeout)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] { return m_count >= count; });
    }
    int count()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_count;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_count = 0;
};

} // namespace

TEST(HwUpdateThread, WithNoModuleWatchedTheThreadMakesNoHostCall)
{
    PanelMFDHarness h;
    EXPECT_CALL(h.hwModules, getModuleInfo(_, _, _)).Times(0);
    h.start();
    // Three passes' worth of time: nothing may arrive.
    EXPECT_FALSE(h.state.waitForChange("set MODULE.0.0.0.TXCOUNT=0", std::chrono::milliseconds(1600)));
}

TEST(HwUpdateThread, AModuleForWhichOnlyTXCountAnswersGetsOnlyThatKey)
{
    PanelMFDHarness h;
    ON_CALL(h.hwModules, getModuleInfo(_, _, _)).WillByDefault(Return(false));
    ON_CALL(h.hwModules, getModuleInfo(_, std::string("TXCount"), _))
        .WillByDefault(DoAll(SetArgReferee<2>("17"), Return(true)));
    h.start();
    ASSERT_TRUE(h.fid("MODULE.INFO.READ", {{"ENABLE", "ON"}}, UniqueWidgetID(1, 4, 12, 3)));
    ASSERT_TRUE(h.state.waitFor("MODULE.1.4.12.TXCOUNT", "17"));
    ASSERT_TRUE(h.state.waitForChange("set MODULE.1.4.12.TXCOUNT=17"));
    for (const char* word : {"RXCOUNT", "CRCERRORS", "DBTXCOUNT", "DBRXCOUNT", "DBCRCERRORS"}) {
        const std::string key = std::string("MODULE.1.4.12.") + word;
        EXPECT_EQ(h.state.changesStartingWith("set " + key), std::vector<std::string>{"set " + key + "=0"});
    }
}

TEST(HwUpdateThread, CountersArePolledInTableOrderWithTheHostsText)
{
    PanelMFDHarness h;
    std::vector<std::string> asked;
    std::mutex askedMutex;
    ON_CALL(h.hwModules, getModuleInfo(_, _, _))
        .WillByDefault(Invoke([&](const UniqueModuleID& module, const std::string& property, std::string& value) {
            std::lock_guard<std::mutex> lock(askedMutex);
            asked.push_back(std::to_string(module.getWorkplaceID()) + "." + std::to_string(module.getGroupID()) +
                            "." + std::to_string(module.getModuleID()) + " " + property);
            value = " " + property + "!";
            return true;
        }));
    h.start();
    ASSERT_TRUE(h.fid("MODULE.INFO.READ", {{"ENABLE", "TRUE"}}, UniqueWidgetID(7, 31, 255, 1)));
    ASSERT_TRUE(h.state.waitFor("MODULE.7.31.255.DBCRCERRORS", " DBCRCErrors!"));
    EXPECT_EQ(h.state.value("MODULE.7.31.255.TXCOUNT"), " TXCount!");
    EXPECT_EQ(h.state.value("MODULE.7.31.255.RXCOUNT"), " RXCount!");
    EXPECT_EQ(h.state.value("MODULE.7.31.255.CRCERRORS"), " CRCErrors!");
    EXPECT_EQ(h.state.value("MODULE.7.31.255.DBTXCOUNT"), " DBTXCount!");
    EXPECT_EQ(h.state.value("MODULE.7.31.255.DBRXCOUNT"), " DBRXCount!");
    std::lock_guard<std::mutex> lock(askedMutex);
    ASSERT_GE(asked.size(), 6u);
    EXPECT_EQ(std::vector<std::string>(asked.begin(), asked.begin() + 6),
              (std::vector<std::string>{"7.31.255 TXCount", "7.31.255 RXCount", "7.31.255 CRCErrors",
                                        "7.31.255 DBTXCount", "7.31.255 DBRXCount", "7.31.255 DBCRCErrors"}));
}

TEST(HwUpdateThread, ModulesArePolledInAscendingOrderEveryPass)
{
    // These outlive the driver, whose hardware thread uses them until the end.
    std::vector<unsigned> order;
    std::mutex orderMutex;
    QueryCounter queries;
    PanelMFDHarness h;
    ON_CALL(h.hwModules, getModuleInfo(_, std::string("TXCount"), _))
        .WillByDefault(Invoke([&](const UniqueModuleID& module, const std::string&, std::string&) {
            {
                std::lock_guard<std::mutex> lock(orderMutex);
                order.push_back(module.getModuleID());
            }
            queries.add();
            return false;
        }));
    h.start();
    ASSERT_TRUE(h.fid("MODULE.INFO.READ", {{"ENABLE", "ON"}}, UniqueWidgetID(0, 0, 9, 0)));
    ASSERT_TRUE(h.fid("MODULE.INFO.READ", {{"ENABLE", "ON"}}, UniqueWidgetID(0, 0, 2, 0)));
    const auto started = std::chrono::steady_clock::now();
    ASSERT_TRUE(queries.waitFor(6, std::chrono::milliseconds(5000)));
    // At least two sleeps of 500 ms lie between the first and the third pass.
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(900));
    std::lock_guard<std::mutex> lock(orderMutex);
    // The first pass may have seen only the first module.
    const size_t start = order.size() >= 2 && order[0] == 9 ? 1 : 0;
    for (size_t i = start; i + 1 < order.size(); i += 2) {
        EXPECT_EQ(order[i], 2u);
        EXPECT_EQ(order[i + 1], 9u);
    }
}

TEST(HwUpdateThread, ASwitchedOffModuleIsNoLongerPolled)
{
    QueryCounter queries; // outlives the driver's hardware thread
    PanelMFDHarness h;
    ON_CALL(h.hwModules, getModuleInfo(_, _, _))
        .WillByDefault(Invoke([&](const UniqueModuleID&, const std::string&, std::string&) {
            queries.add();
            return false;
        }));
    h.start();
    ASSERT_TRUE(h.fid("MODULE.INFO.READ", {{"ENABLE", "ON"}}, UniqueWidgetID(0, 1, 1, 0)));
    ASSERT_TRUE(queries.waitFor(6, std::chrono::milliseconds(5000)));
    ASSERT_TRUE(h.fid("MODULE.INFO.READ", {{"ENABLE", "OFF"}}, UniqueWidgetID(0, 1, 1, 0)));
    // A pass under way may finish; after it nothing more comes.
    const int settled = ((queries.count() + 5) / 6) * 6;
    EXPECT_FALSE(queries.waitFor(settled + 1, std::chrono::milliseconds(1500)));
}

TEST(HwUpdateThread, BeforeTheManagerIsHandedInTheLoopOnlySleeps)
{
    PanelMFDHarness h;
    EXPECT_CALL(h.hwModules, getModuleInfo(_, _, _)).Times(0);
    h.create();
    ASSERT_TRUE(h.fid("MODULE.INFO.READ", {{"ENABLE", "ON"}}, UniqueWidgetID(0, 1, 1, 0)));
    EXPECT_FALSE(h.state.waitForChange("set MODULE.0.1.1.TXCOUNT=1", std::chrono::milliseconds(1200)));
}

TEST(HwUpdateThread, FIDsChangingTheWatchedModulesRaceCleanWithThePasses)
{
    // Outlives the driver, whose hardware thread counts into it until the end.
    QueryCounter queries;
    PanelMFDHarness h;
    ON_CALL(h.hwModules, getModuleInfo(_, _, _))
        .WillByDefault(Invoke([&](const UniqueModuleID&, const std::string&, std::string& value) {
            value = "5";
            queries.add();
            return true;
        }));
    h.start();
    std::atomic<bool> stop{false};
    std::thread other([&] {
        int i = 0;
        while (!stop) {
            const UniqueWidgetID widget(0, 0, static_cast<unsigned>(i % 4), 0);
            h.fid("MODULE.INFO.READ", {{"ENABLE", i % 3 == 0 ? "OFF" : "ON"}}, widget);
            ++i;
        }
    });
    for (int i = 0; i < 200; ++i)
        h.fid("MODULE.INFO.READ", {{"ENABLE", i % 2 ? "ON" : "FALSE"}}, UniqueWidgetID(1, 0, static_cast<unsigned>(i % 5), 0));
    ASSERT_TRUE(h.fid("MODULE.INFO.READ", {{"ENABLE", "ON"}}, UniqueWidgetID(2, 0, 0, 0)));
    const bool polled = queries.waitFor(24, std::chrono::milliseconds(5000));
    stop = true;
    other.join();
    EXPECT_TRUE(polled);
    EXPECT_TRUE(h.state.waitFor("MODULE.2.0.0.TXCOUNT", "5"));
}

TEST(HwUpdateThread, DestroyingTheDriverStopsBothThreads)
{
    PanelMFDHarness h;
    ON_CALL(h.hwModules, getModuleInfo(_, _, _)).WillByDefault(Return(false));
    h.start();
    ASSERT_TRUE(h.fid("MODULE.INFO.READ", {{"ENABLE", "ON"}}, UniqueWidgetID(0, 1, 1, 0)));
    h.mfd.reset();
    const size_t changes = h.state.changeCount();
    EXPECT_FALSE(h.state.waitForChange("set SYSTEM.REBOOT_INDICATION=never", std::chrono::milliseconds(600)));
    EXPECT_EQ(h.state.changeCount(), changes);
}

TEST(UptimeThread, RefreshesTheIndicationEveryTenSeconds)
{
    PanelMFDHarness h;
    const auto constructed = std::chrono::steady_clock::now();
    h.create();
    ASSERT_EQ(h.state.changesStartingWith("set SYSTEM.REBOOT_INDICATION").size(), 1u);
    const auto deadline = constructed + std::chrono::seconds(15);
    while (h.state.changesStartingWith("set SYSTEM.REBOOT_INDICATION").size() < 2 &&
           std::chrono::steady_clock::now() < deadline)
        h.state.waitForChange("set SYSTEM.REBOOT_INDICATION=--", std::chrono::milliseconds(200));
    const auto published = h.state.changesStartingWith("set SYSTEM.REBOOT_INDICATION");
    ASSERT_EQ(published.size(), 2u);
    EXPECT_EQ(published[1], "set SYSTEM.REBOOT_INDICATION=00:00");
    EXPECT_GE(std::chrono::steady_clock::now() - constructed, std::chrono::milliseconds(9500));
}

// Date and time.

TEST(DateState, InitialisationPublishesTheSixKeysUnpaddedInOrder)
{
    PanelMFDHarness h;
    h.create();
    EXPECT_EQ(h.state.changesStartingWith("set SYSTEM.DATE."),
              (std::vector<std::string>{"set SYSTEM.DATE.YEAR=2024", "set SYSTEM.DATE.MONTH=1",
                                        "set SYSTEM.DATE.DAY=2", "set SYSTEM.DATE.HOUR=3",
                                        "set SYSTEM.DATE.MINUTE=4", "set SYSTEM.DATE.SECOND=5"}));
}

TEST(DateState, DateSetWithoutParametersRewritesTheSameDateAndTime)
{
    PanelMFDHarness h;
    h.start();
    h.state.clearChanges();
    EXPECT_TRUE(h.fid("SYSTEM.DATE.SET"));
    EXPECT_EQ(h.system.backend->year, 2024);
    EXPECT_EQ(h.system.backend->month, 1);
    EXPECT_EQ(h.system.backend->second, 5);
    EXPECT_EQ(h.state.changesStartingWith("set SYSTEM.DATE.").size(), 6u);
    EXPECT_EQ(h.state.value("SYSTEM.DATE.DAY"), "2");
}

TEST(DateState, DateSetWithOnlyYearLeavesMonthAndDay)
{
    PanelMFDHarness h;
    h.start();
    EXPECT_TRUE(h.fid("SYSTEM.DATE.SET", {{"YEAR", "2031"}}));
    EXPECT_EQ(h.state.value("SYSTEM.DATE.YEAR"), "2031");
    EXPECT_EQ(h.state.value("SYSTEM.DATE.MONTH"), "1");
    EXPECT_EQ(h.state.value("SYSTEM.DATE.DAY"), "2");
    EXPECT_EQ(h.state.value("SYSTEM.DATE.HOUR"), "3");
}

TEST(DateState, SingleHourChangesTheHourOnly)
{
    PanelMFDHarness h;
    h.start();
    EXPECT_TRUE(h.fid("SYSTEM.DATE.SET", {{"HOUR", "17"}, {"MINUTE", ""}}));
    EXPECT_EQ(h.state.value("SYSTEM.DATE.HOUR"), "17");
    EXPECT_EQ(h.state.value("SYSTEM.DATE.MINUTE"), "4");
    EXPECT_EQ(h.system.backend->hour, 17);
}

TEST(DateState, ValuesAreNotRangeTestedButCutToTheirWidth)
{
    PanelMFDHarness h;
    h.start();
    EXPECT_TRUE(h.fid("SYSTEM.DATE.SET", {{"YEAR", "70000"}, {"MONTH", "13"}, {"DAY", "300"}, {"SECOND", "x"}}));
    EXPECT_EQ(h.system.backend->year, 70000 - 65536);
    EXPECT_EQ(h.system.backend->month, 13);
    EXPECT_EQ(h.system.backend->day, 300 - 256);
    EXPECT_EQ(h.system.backend->second, 0);
    EXPECT_EQ(h.state.value("SYSTEM.DATE.MONTH"), "13");
    EXPECT_EQ(h.state.value("SYSTEM.DATE.YEAR"), "4464");
}

TEST(DateState, DateUpdateRepublishesWhatTheSystemReads)
{
    PanelMFDHarness h;
    h.start();
    {
        std::lock_guard<std::mutex> lock(h.system.backend->mutex);
        h.system.backend->month = 12;
        h.system.backend->minute = 59;
    }
    EXPECT_TRUE(h.fid("SYSTEM.DATE.UPDATE"));
    EXPECT_EQ(h.state.value("SYSTEM.DATE.MONTH"), "12");
    EXPECT_EQ(h.state.value("SYSTEM.DATE.MINUTE"), "59");
}

namespace {

// The published workplace keys that a file read back must give again.
std::vector<std::string> workplaceKeys(const RecordingPanelState& state)
{
    std::vector<std::string> lines;
    for (int w = 0; w < PanelMFD::kWorkplaceCount; ++w) {
        const std::string prefix = "WP" + std::to_string(w) + ".";
        for (int i = 0; state.has(prefix + "PORTLIST" + std::to_string(i)); ++i)
            lines.push_back(prefix + "PORTLIST" + std::to_string(i) + "=" +
                            state.value(prefix + "PORTLIST" + std::to_string(i)));
        const std::string count = state.value(prefix + "MFDCOUNT");
        lines.push_back(prefix + "MFDCOUNT=" + count);
        for (int d = 0; d < std::atoi(count.c_str()); ++d)
            for (const char* suffix : {"", ".TYPE", ".VERSION", ".WORKDIR", ".IPADDR", ".NETWORKIFC", ".IFCTYPE"}) {
                const std::string key = prefix + "MFD" + std::to_string(d) + suffix;
                lines.push_back(key + "=" + state.value(key));
            }
    }
    return lines;
}

} // namespace

TEST(WorkplaceTables, DriversAndPortsChangedOnFourThreadsEndAsTheFileSays)
{
    PanelMFDHarness h;
    h.start((h.configDir() / "Workplaces.xml").string());
    std::vector<std::thread> threads;
    for (int w = 0; w < 4; ++w)
        threads.emplace_back([&h, w] {
            const std::string wp = std::to_string(w);
            for (int i = 0; i < 60; ++i) {
                const std::string id = "D" + wp + "_" + std::to_string(i % 5);
                h.fid("MFD.ADD", {{"WPID", wp}, {"MFDID", id}, {"TYPE", "T"}, {"VERSION", std::to_string(i)},
                                  {"WORKDIR", "/w"}, {"IFCTYPE", "ETH"}});
                h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", wp}, {"PORT", std::to_string((i + w) % 8 + 1)}});
                h.fid("MFD.MODIFY", {{"WPID", wp}, {"MFDID", id}, {"COMPONENT", "IPADDR"}, {"VALUE", "10.0.0." + wp}});
                h.fid("MFD.REMOVE", {{"WPID", wp}, {"MFDID", "D" + wp + "_" + std::to_string((i + 2) % 5)}});
                if (i % 7 == 0) h.fid("PORT.CONFIG.UNASSIGN", {{"PORT", std::to_string(i % 8 + 1)}});
            }
        });
    for (auto& thread : threads) thread.join();
    const std::vector<std::string> published = workplaceKeys(h.state);

    // A driver started on the saved file publishes the same.
    PanelMFDHarness again;
    std::filesystem::copy_file(h.savedFile(), again.savedFile());
    again.start(again.savedFile().string());
    EXPECT_EQ(workplaceKeys(again.state), published);
    int drivers = 0;
    for (int w = 0; w < 4; ++w) drivers += std::atoi(h.state.value("WP" + std::to_string(w) + ".MFDCOUNT").c_str());
    EXPECT_GT(drivers, 0);
}

TEST(WorkplaceTables, AFIDReturnsOnlyOnceTheThreadPublishingBeforeItHasPublishedItsChange)
{
    PanelMFDHarness h;
    HostGate gate;
    h.state.beforeSet = [&gate](const std::string& key) { gate.atKey(key, "WP0.MFDCOUNT"); };
    h.start();
    gate.armed = true;

    std::thread first([&h] {
        h.fid("MFD.ADD", {{"WPID", "0"}, {"MFDID", "A"}, {"TYPE", "T"}, {"VERSION", "1"}, {"WORKDIR", "/a"},
                          {"IFCTYPE", "ETH"}});
    });
    EXPECT_TRUE(gate.waitInside());
    std::string seenOnReturn;
    std::thread second([&] {
        h.fid("MFD.ADD", {{"WPID", "1"}, {"MFDID", "B"}, {"TYPE", "T"}, {"VERSION", "1"}, {"WORKDIR", "/b"},
                          {"IFCTYPE", "ETH"}});
        seenOnReturn = h.state.value("WP1.MFD0");
        gate.otherReturns();
    });
    gate.openAfterOtherOrTimeout();
    first.join();
    second.join();
    EXPECT_EQ(seenOnReturn, "B");
    EXPECT_EQ(h.state.value("WP0.MFD0"), "A");
}
