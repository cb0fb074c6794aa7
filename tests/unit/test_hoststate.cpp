// The reference host's own state: the state table and its ".*" unset, the
// publisher's notifications, the FID receiver's routing with the simulated
// mainframe drivers, the simulated system's knobs and EEPROM faults, and the
// knobs of the small host interfaces.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <thread>

#include "console.h"
#include "hostifaces.h"
#include "knobs.h"
#include "panelhost.h"
#include "publisher.h"
#include "recorder.h"
#include "scriptparser.h"
#include "scriptrunner.h"
#include "simmainframe.h"
#include "simsystem.h"
#include "statetable.h"
#include "support/hostmocks.h"
#include "fidreceiver.h"
#include "textutil.h"
#include "widgetcontrol.h"

using namespace panelhost;
using ::testing::_;

namespace {

std::vector<std::string> texts(const Recorder& r, Stream s)
{
    std::vector<std::string> out;
    for (const auto& e : r.entries(s)) out.push_back(e.text);
    return out;
}

class RecordingSubscriber : public PDLStateSubscriber {
public:
    explicit RecordingSubscriber(bool direct = true) : m_direct(direct) {}
    bool useEventManager() const override { return !m_direct; }
    void updateDirect(const std::string& key, const std::string& value) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_updates.push_back(key + "=" + value);
    }
    std::vector<std::string> updates() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_updates;
    }

private:
    bool m_direct;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_updates;
};

std::shared_ptr<PDLStateSubscriber> unowned(PDLStateSubscriber* s)
{
    return std::shared_ptr<PDLStateSubscriber>(std::shared_ptr<void>(), s);
}

struct TableRig {
    Recorder recorder;
    StateTable table{recorder};
    Publisher publisher{recorder, table};
    TableRig() { table.setPublisher(&publisher); }
};

FIDParameterList params(std::initializer_list<std::pair<const char*, const char*>> list)
{
    FIDParameterList p;
    for (const auto& [n, v] : list) p.add(n, v);
    return p;
}

} // namespace

TEST(HostStateTable, KeysGetThePrefixAndEveryChangeIsRecorded)
{
    TableRig rig;
    rig.table.setStateValue("LOADED", "");
    rig.table.setStateValue("WP0.NAME", "two words");
    EXPECT_EQ(rig.table.text("PANEL.LOADED"), "");
    ASSERT_TRUE(rig.table.value("PANEL.LOADED").has_value());
    EXPECT_EQ(rig.table.text("PANEL.WP0.NAME"), "two words");
    EXPECT_EQ(texts(rig.recorder, Stream::Changes),
              (std::vector<std::string>{"PANEL.LOADED = \"\"", "PANEL.WP0.NAME = \"two words\""}));
    EXPECT_EQ(texts(rig.recorder, Stream::Calls),
              (std::vector<std::string>{"IPanelState.setStateValue LOADED \"\"",
                                        "IPanelState.setStateValue WP0.NAME \"two words\""}));
}

TEST(HostStateTable, OtherPrefixIsUsed)
{
    TableRig rig;
    rig.table.setPrefix("DESK");
    rig.table.setStateValueInt("X", 3);
    EXPECT_EQ(rig.table.text("DESK.X"), "3");
    EXPECT_FALSE(rig.table.value("PANEL.X").has_value());
}

TEST(HostStateTable, TypedValuesKeepTheirType)
{
    TableRig rig;
    rig.table.setStateValueInt("I", -12);
    rig.table.setStateValueBool("B", true);
    rig.table.setStateValueBool("C", false);
    rig.table.setStateValueFloat("F", 1.5f);
    EXPECT_EQ(rig.table.value("PANEL.I")->text, "-12");
    EXPECT_EQ(rig.table.value("PANEL.I")->type, "int");
    EXPECT_EQ(rig.table.value("PANEL.B")->text, "TRUE");
    EXPECT_EQ(rig.table.value("PANEL.C")->text, "FALSE");
    EXPECT_EQ(rig.table.value("PANEL.B")->type, "bool");
    EXPECT_EQ(rig.table.value("PANEL.F")->text, "1.5");
    EXPECT_EQ(rig.table.value("PANEL.F")->type, "float");
    rig.table.setStateValue("I", "x");
    EXPECT_EQ(rig.table.value("PANEL.I")->type, "text");
}

TEST(HostStateTable, UnsetWithStarRemovesEveryKeyBelowThePrefixOnly)
{
    TableRig rig;
    rig.table.setStateValue("MEMORY.CURRENT.0.A", "1");
    rig.table.setStateValue("MEMORY.CURRENT.0.B.C", "2");
    rig.table.setStateValue("MEMORY.CURRENT.0", "stays");
    rig.table.setStateValue("MEMORY.CURRENT.01", "stays");
    rig.table.setStateValue("MEMORY.CURRENT.1.A", "stays");
    rig.table.unsetStateValue("MEMORY.CURRENT.0.*");
    EXPECT_FALSE(rig.table.value("PANEL.MEMORY.CURRENT.0.A").has_value());
    EXPECT_FALSE(rig.table.value("PANEL.MEMORY.CURRENT.0.B.C").has_value());
    EXPECT_TRUE(rig.table.value("PANEL.MEMORY.CURRENT.0").has_value());
    EXPECT_TRUE(rig.table.value("PANEL.MEMORY.CURRENT.01").has_value());
    EXPECT_TRUE(rig.table.value("PANEL.MEMORY.CURRENT.1.A").has_value());
    auto changes = rig.recorder.entries(Stream::Changes);
    int unsets = 0;
    for (const auto& e : changes)
        if (e.fields[2] == "unset") ++unsets;
    EXPECT_EQ(unsets, 3); // the pattern and the two keys
}

TEST(HostStateTable, UnsetOfOneKeyAndOfAMissingKey)
{
    TableRig rig;
    rig.table.setStateValue("A", "1");
    rig.table.unsetStateValue("A");
    rig.table.unsetStateValue("NEVER");
    EXPECT_FALSE(rig.table.value("PANEL.A").has_value());
    auto changes = rig.recorder.entries(Stream::Changes);
    ASSERT_EQ(changes.size(), 2u);
    EXPECT_EQ(changes[1].text, "PANEL.A unset");
}

TEST(HostStateTable, TriggerEventGoesToTheEventsStream)
{
    TableRig rig;
    rig.table.triggerEvent("MEMORY.LEARN", "1");
    auto events = rig.recorder.entries(Stream::Events);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].fields, (std::vector<std::string>{"MEMORY.LEARN", "1"}));
    EXPECT_TRUE(rig.recorder.entries(Stream::Changes).empty());
}

TEST(HostStateTable, PublishSetsAFullKeyAsAnotherDriverWould)
{
    TableRig rig;
    rig.table.publish("MFD1.MACRO.REG5.STATUS", "PLAY");
    EXPECT_EQ(rig.table.text("MFD1.MACRO.REG5.STATUS"), "PLAY");
    EXPECT_EQ(texts(rig.recorder, Stream::Changes), (std::vector<std::string>{"MFD1.MACRO.REG5.STATUS = PLAY"}));
}

TEST(HostPublisher, NotifiesSubscribersOfTheSubscribedKeyOnly)
{
    TableRig rig;
    RecordingSubscriber sub;
    rig.publisher.subscribe("PANEL.SETTINGS0.COLOR.MACRO", unowned(&sub));
    rig.table.setStateValue("SETTINGS0.COLOR.MACRO", "RED");
    rig.table.setStateValue("SETTINGS1.COLOR.MACRO", "BLUE");
    rig.table.publish("PANEL.SETTINGS0.COLOR.MACRO", "GREEN");
    rig.table.setStateValueInt("SETTINGS0.COLOR.MACRO", 4);
    EXPECT_EQ(sub.updates(), (std::vector<std::string>{"PANEL.SETTINGS0.COLOR.MACRO=RED",
                                                       "PANEL.SETTINGS0.COLOR.MACRO=GREEN",
                                                       "PANEL.SETTINGS0.COLOR.MACRO=4"}));
}

TEST(HostPublisher, UnsetNotifiesTheEmptyValue)
{
    TableRig rig;
    RecordingSubscriber sub;
    rig.table.setStateValue("MEMORY.CURRENT.0.A", "1");
    rig.publisher.subscribe("PANEL.MEMORY.CURRENT.0.A", unowned(&sub));
    rig.table.unsetStateValue("MEMORY.CURRENT.0.*");
    EXPECT_EQ(sub.updates(), (std::vector<std::string>{"PANEL.MEMORY.CURRENT.0.A="}));
}

TEST(HostPublisher, SubscriberThatUsesTheEventManagerGetsNoDirectUpdate)
{
    TableRig rig;
    RecordingSubscriber sub(false);
    rig.publisher.subscribe("MFD1.X", unowned(&sub));
    rig.table.publish("MFD1.X", "1");
    EXPECT_TRUE(sub.updates().empty());
}

TEST(HostPublisher, UnsubscribeEndsTheNotifications)
{
    TableRig rig;
    RecordingSubscriber a;
    RecordingSubscriber b;
    rig.publisher.subscribe("K", unowned(&a));
    rig.publisher.subscribe("K", unowned(&b));
    EXPECT_EQ(rig.publisher.subscriberCount("K"), 2u);
    rig.publisher.unsubscribe("K", unowned(&a));
    rig.table.publish("K", "v");
    EXPECT_TRUE(a.updates().empty());
    EXPECT_EQ(b.updates(), (std::vector<std::string>{"K=v"}));
}

TEST(HostPublisher, GetValueAnswersTheTableTextOrEmpty)
{
    TableRig rig;
    rig.table.setStateValueBool("B", true);
    EXPECT_EQ(rig.publisher.getValue("PANEL.B"), "TRUE");
    EXPECT_EQ(rig.publisher.getValue("PANEL.NONE"), "");
    EXPECT_EQ(texts(rig.recorder, Stream::Calls).back(), "IPSPublisher.getValue PANEL.NONE");
}

namespace {
// Sets state from inside its update, as a recorder does when it drives its keys.
class ReentrantSubscriber : public PDLStateSubscriber {
public:
    explicit ReentrantSubscriber(StateTable& table) : m_table(table) {}
    bool useEventManager() const override { return false; }
    void updateDirect(const std::string&, const std::string& value) override
    {
        m_table.setStateValue("ECHO", value);
    }

private:
    StateTable& m_table;
};
} // namespace

TEST(HostPublisher, SubscriberMayCallBackIntoTheTable)
{
    TableRig rig;
    ReentrantSubscriber sub(rig.table);
    rig.publisher.subscribe("MFD1.STATUS", unowned(&sub));
    rig.table.publish("MFD1.STATUS", "PLAY");
    EXPECT_EQ(rig.table.text("PANEL.ECHO"), "PLAY");
}

namespace {
class BlockingSubscriber : public PDLStateSubscriber {
public:
    bool useEventManager() const override { return false; }
    void updateDirect(const std::string&, const std::string&) override
    {
        entered.set_value();
        release.get_future().wait();
        finished = true;
    }
    std::promise<void> entered;
    std::promise<void> release;
    std::atomic<bool> finished{false};
};
} // namespace

TEST(HostPublisher, UnsubscribeWaitsForAnUpdateRunningOnAnotherThread)
{
    TableRig rig;
    BlockingSubscriber sub;
    rig.publisher.subscribe("K", unowned(&sub));
    std::thread notifier([&] { rig.table.publish("K", "v"); });
    sub.entered.get_future().wait();
    auto unsubscribed = std::async(std::launch::async, [&] {
        rig.publisher.unsubscribe("K", unowned(&sub));
        return sub.finished.load();
    });
    sub.release.set_value();
    EXPECT_TRUE(unsubscribed.get()); // it returned only after the update had ended
    notifier.join();
}

TEST(HostFidReceiver, OwnPrefixGoesBackIntoTheModuleWithoutThePrefix)
{
    Recorder recorder;
    TableRig rig;
    Knobs knobs;
    SimMainframe mainframe(rig.table, knobs);
    FidReceiver receiver(recorder, mainframe);
    MockFIDReceiver module;
    receiver.setModule(&module);
    FIDParameterList p = params({{"NAME", "a"}, {"VALUE", "b"}});
    p.sourceWidget = UniqueWidgetID(1, 2, 3, 4);
    EXPECT_CALL(module, sendFID("SETVAR", _)).WillOnce([](const FunctionID&, const FIDParameterList& got) {
        std::string v;
        EXPECT_TRUE(got.getValue("VALUE", v));
        EXPECT_EQ(v, "b");
        EXPECT_EQ(got.sourceWidget, UniqueWidgetID(1, 2, 3, 4));
    });
    receiver.sendFID("PANEL.SETVAR", p);
    auto sent = recorder.entries(Stream::Sent);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].fields, (std::vector<std::string>{"PANEL.SETVAR", "1.2.3.4", "NAME", "a", "VALUE", "b"}));
    EXPECT_EQ(sent[0].text, "PANEL.SETVAR NAME=a VALUE=b @1.2.3.4");
}

TEST(HostFidReceiver, NamesOfOtherDriversNeverReachTheModule)
{
    Recorder recorder;
    TableRig rig;
    Knobs knobs;
    SimMainframe mainframe(rig.table, knobs);
    FidReceiver receiver(recorder, mainframe);
    MockFIDReceiver module;
    receiver.setModule(&module);
    EXPECT_CALL(module, sendFID(_, _)).Times(0);
    receiver.sendFID("MFD1.REPLACE.MACRO.RECALL", params({{"REG", "5"}}));
    receiver.sendFID("PANELX.SETVAR", params({}));
    receiver.sendFID("PANEL", params({}));
    EXPECT_EQ(mainframe.receivedCount("MFD1"), 1u);
    EXPECT_EQ(mainframe.receivedCount("PANELX"), 1u);
    EXPECT_EQ(recorder.size(Stream::Sent), 3u);
}

TEST(HostFidReceiver, DetachingTheModuleWaitsForFidsRoutedIntoIt)
{
    Recorder recorder;
    TableRig rig;
    Knobs knobs;
    SimMainframe mainframe(rig.table, knobs);
    FidReceiver receiver(recorder, mainframe);
    MockFIDReceiver module;
    std::promise<void> entered;
    std::promise<void> release;
    std::atomic<bool> returned{false};
    EXPECT_CALL(module, sendFID("MACRO0.STOP", _)).WillOnce([&](const FunctionID&, const FIDParameterList&) {
        entered.set_value();
        release.get_future().wait();
        returned = true;
    });
    receiver.setModule(&module);
    std::thread player([&] { receiver.sendFID("PANEL.MACRO0.STOP", params({})); });
    entered.get_future().wait();
    auto detached = std::async(std::launch::async, [&] {
        receiver.setModule(nullptr);
        return returned.load();
    });
    release.set_value();
    EXPECT_TRUE(detached.get());
    player.join();
    receiver.sendFID("PANEL.MACRO0.STOP", params({})); // only recorded now
    EXPECT_EQ(recorder.size(Stream::Sent), 2u);
}

TEST(HostFidReceiver, WithoutAModuleTheFidIsOnlyRecorded)
{
    Recorder recorder;
    TableRig rig;
    Knobs knobs;
    SimMainframe mainframe(rig.table, knobs);
    FidReceiver receiver(recorder, mainframe);
    receiver.sendFID("PANEL.SETVAR", params({}));
    EXPECT_EQ(recorder.size(Stream::Sent), 1u);
}

TEST(HostSimMainframe, PassiveDriverPublishesNothing)
{
    TableRig rig;
    Knobs knobs;
    SimMainframe mainframe(rig.table, knobs);
    mainframe.receive("MFD1", "MFD1.REPLACE.MACRO.RECALL", params({{"QUEUE", "FALSE"}, {"REG", "5"}}));
    EXPECT_FALSE(rig.recorder.waitFor(Stream::Changes, 0, [](const Entry&) { return true; }, 100).has_value());
}

TEST(HostSimMainframe, ActiveDriverPlaysARecalledRegisterThenStops)
{
    TableRig rig;
    Knobs knobs;
    knobs.set("mfd.MFD1", "active");
    knobs.set("mfd.MFD1.playms", "50");
    SimMainframe mainframe(rig.table, knobs);
    mainframe.receive("MFD1", "MFD1.PRE.MACRO.RECALL", params({{"RECORD", "TRUE"}, {"REG", "7"}, {"BUTTON", "1"}}));
    auto is = [](const std::string& key, const std::string& value) {
        return [key, value](const Entry& e) { return e.fields[0] == key && e.fields[1] == value; };
    };
    auto play = rig.recorder.waitFor(Stream::Changes, 0, is("MFD1.MACRO.REG7.STATUS", "PLAY"), 5000);
    ASSERT_TRUE(play.has_value());
    EXPECT_TRUE(rig.recorder.waitFor(Stream::Changes, 0, is("MFD1.MACRO.CURRENT.REG", "7"), 5000).has_value());
    auto stop = rig.recorder.waitFor(Stream::Changes, *play, is("MFD1.MACRO.REG7.STATUS", "STOP"), 5000);
    ASSERT_TRUE(stop.has_value());
    EXPECT_GT(*stop, *play);
}

TEST(HostSimMainframe, StopAndResumeAnswerStopAndPlay)
{
    TableRig rig;
    Knobs knobs;
    knobs.set("mfd.MFD2", "active");
    knobs.set("mfd.MFD2.playms", "60000");
    SimMainframe mainframe(rig.table, knobs);
    auto is = [](const std::string& value) {
        return [value](const Entry& e) { return e.fields[0] == "MFD2.MACRO.REG3.STATUS" && e.fields[1] == value; };
    };
    mainframe.receive("MFD2", "MFD2.MACRO.STOP", params({{"REG", "3"}}));
    auto stop = rig.recorder.waitFor(Stream::Changes, 0, is("STOP"), 5000);
    ASSERT_TRUE(stop.has_value());
    mainframe.receive("MFD2", "MFD2.MACRO.RESUME", params({{"REG", "3"}}));
    EXPECT_TRUE(rig.recorder.waitFor(Stream::Changes, *stop + 1, is("PLAY"), 5000).has_value());
    // An export is only noted.
    mainframe.receive("MFD2", "MFD2.MACROEXPORT.START", params({{"TARGET", "4"}}));
    EXPECT_EQ(mainframe.receivedCount("MFD2"), 3u);
}

TEST(HostSimSystem, NetworkSettersStoreAndGettersAnswerTheKnobs)
{
    Recorder recorder;
    Knobs knobs;
    SimSystem system(recorder, knobs);
    EXPECT_STREQ(system.getIPAddress(0, "eth0").getAddressString(), "192.168.1.100");
    system.setIPAddressAndNetmask(oskit::HostAddress("10.0.0.5"), oskit::HostAddress("255.0.0.0"), 0, "eth0");
    system.setGateway(oskit::HostAddress("10.0.0.1"), 0, "eth0");
    EXPECT_STREQ(system.getIPAddress(0, "eth0").getAddressString(), "10.0.0.5");
    EXPECT_STREQ(system.getNetmask(0, "eth0", oskit::HostAddress("1.1.1.1")).getAddressString(), "255.0.0.0");
    EXPECT_STREQ(system.getGateway(0, "eth0").getAddressString(), "10.0.0.1");
    EXPECT_EQ(knobs.get("network.ip", ""), "10.0.0.5");
    knobs.set("network.gateway", "172.16.0.1");
    EXPECT_STREQ(system.getGateway(0, "eth0").getAddressString(), "172.16.0.1");
}

TEST(HostSimSystem, DateAndTimeKnobsStopTheClock)
{
    Recorder recorder;
    Knobs knobs;
    SimSystem system(recorder, knobs);
    std::string error;
    ASSERT_TRUE(system.setKnob("date", "2024-02-29", error)) << error;
    ASSERT_TRUE(system.setKnob("time", "23:59:58", error)) << error;
    uint16_t y;
    uint8_t mo, d, h, mi, s;
    system.getDate(y, mo, d);
    system.getTime(h, mi, s);
    EXPECT_EQ(y, 2024);
    EXPECT_EQ(mo, 2);
    EXPECT_EQ(d, 29);
    EXPECT_EQ(h, 23);
    EXPECT_EQ(mi, 59);
    EXPECT_EQ(s, 58);
    EXPECT_EQ(system.knob("date"), "2024-02-29");
    EXPECT_EQ(system.knob("time"), "23:59:58");
    system.setDate(2025, 1, 2);
    system.setTime(3, 4, 5);
    EXPECT_EQ(system.knob("date"), "2025-01-02");
    EXPECT_EQ(system.knob("time"), "03:04:05");
    EXPECT_FALSE(system.setKnob("date", "tomorrow", error));
    EXPECT_NE(error.find("YYYY-MM-DD"), std::string::npos);
}

TEST(HostSimSystem, RebootRequestsAreRecordedAsCalls)
{
    Recorder recorder;
    Knobs knobs;
    SimSystem system(recorder, knobs);
    system.reboot(256);
    EXPECT_EQ(texts(recorder, Stream::Calls), (std::vector<std::string>{"ISystemBackend.reboot 256"}));
}

TEST(HostSimSystem, EepromKeepsWhatIsWrittenAndReadsItBack)
{
    Recorder recorder;
    Knobs knobs;
    SimSystem system(recorder, knobs);
    std::vector<unsigned char> image(256);
    for (size_t i = 0; i < image.size(); ++i) image[i] = static_cast<unsigned char>(i);
    ASSERT_TRUE(system.i2cWrite("I2C_DDC", 160, 0, image.data(), 256));
    std::vector<unsigned char> back(256, 0);
    ASSERT_TRUE(system.i2cRead("I2C_DDC", 160, 0, back.data(), 256, 0));
    EXPECT_EQ(back, image);
    EXPECT_EQ(system.eeprom(), std::string(image.begin(), image.end()));
    EXPECT_EQ(system.knob("i2c.eeprom"), hexText(image.data(), image.size()));
}

TEST(HostSimSystem, EepromFaultsFromTheKnobs)
{
    Recorder recorder;
    Knobs knobs;
    SimSystem system(recorder, knobs);
    std::vector<unsigned char> image(256, 0x42);
    knobs.set("i2c.write", "fail");
    EXPECT_FALSE(system.i2cWrite("I2C_DDC", 160, 0, image.data(), 256));
    EXPECT_EQ(system.eeprom(), std::string(256, '\xff')); // nothing written
    knobs.set("i2c.write", "ok");
    ASSERT_TRUE(system.i2cWrite("I2C_DDC", 160, 0, image.data(), 256));

    std::vector<unsigned char> back(256, 0);
    knobs.set("i2c.read", "fail");
    EXPECT_FALSE(system.i2cRead("I2C_DDC", 160, 0, back.data(), 256, 0));
    knobs.set("i2c.read", "ok");
    knobs.set("i2c.readback", "corrupt");
    ASSERT_TRUE(system.i2cRead("I2C_DDC", 160, 0, back.data(), 256, 0));
    EXPECT_EQ(back[0], 0x43); // the lowest bit of the first byte inverted
    EXPECT_EQ(std::vector<unsigned char>(back.begin() + 1, back.end()), std::vector<unsigned char>(255, 0x42));
    EXPECT_EQ(system.eeprom(), std::string(256, '\x42')); // the stored bytes are intact
}

TEST(HostSimSystem, EepromKnobSetsTheImage)
{
    Recorder recorder;
    Knobs knobs;
    SimSystem system(recorder, knobs);
    std::string error;
    ASSERT_TRUE(system.setKnob("i2c.eeprom", "01 02\n03", error));
    EXPECT_EQ(system.eeprom().substr(0, 4), std::string("\x01\x02\x03\xff"));
    EXPECT_FALSE(system.setKnob("i2c.eeprom", std::string(514, 'a'), error));
    EXPECT_FALSE(system.setKnob("i2c.eeprom", "0", error));
}

TEST(HostKnobs, HwModuleManagerAnswersFromTheKnobs)
{
    Recorder recorder;
    Knobs knobs;
    HwModuleManager manager(recorder, knobs);
    std::string value = "untouched";
    EXPECT_FALSE(manager.getModuleInfo(UniqueModuleID(0, 1, 2), "TXCount", value));
    EXPECT_EQ(value, "untouched");
    knobs.set("module.0.1.2.TXCount", "17");
    EXPECT_TRUE(manager.getModuleInfo(UniqueModuleID(0, 1, 2), "TXCount", value));
    EXPECT_EQ(value, "17");
    EXPECT_TRUE(manager.setModuleID(UniqueModuleID(0, 1, 2), "K", "0", "V"));
    EXPECT_TRUE(manager.startTftCalibration(1, 2));
    knobs.set("setModuleID", "false");
    knobs.set("startTftCalibration", "false");
    EXPECT_FALSE(manager.setModuleID(UniqueModuleID(0, 1, 2), "K", "0", "V"));
    EXPECT_FALSE(manager.startTftCalibration(1, 2));
    EXPECT_EQ(texts(recorder, Stream::Calls).back(), "IHwModuleManager.startTftCalibration 1 2");
}

TEST(HostKnobs, HostRejectsUnknownKnobsAndBadValues)
{
    HostOptions options;
    options.runDir = "/tmp";
    options.captureStdout = false;
    options.captureLog = false;
    Host host(options);
    std::string error;
    EXPECT_TRUE(host.setKnob("i2c.readback", "corrupt", error));
    EXPECT_EQ(host.knob("i2c.readback"), "corrupt");
    EXPECT_EQ(host.knob("i2c.write"), "ok");
    EXPECT_FALSE(host.setKnob("i2c.write", "maybe", error));
    EXPECT_NE(error.find("ok"), std::string::npos);
    EXPECT_FALSE(host.setKnob("weather", "sunny", error));
    EXPECT_FALSE(host.setKnob("module.9.1.2.TXCount", "1", error));
    EXPECT_TRUE(host.setKnob("mfd.MFD1", "active", error));
    EXPECT_FALSE(host.setKnob("mfd.MFD1", "busy", error));
    EXPECT_TRUE(host.setKnob("network.ip", "10.1.1.1", error));
    EXPECT_EQ(host.knob("network.ip"), "10.1.1.1");
}

TEST(HostWidgetControl, LayersAndOwnAttributes)
{
    Recorder recorder;
    WidgetControl control(recorder);
    const UniqueWidgetID w(0, 1, 2, 3);
    EXPECT_EQ(control.getAttribute(w, "TYPE"), "");
    control.setOwnAttribute(w, "TYPE", "SECONDARY");
    EXPECT_EQ(control.getAttribute(w, "TYPE"), "SECONDARY");
    control.setAttribute("REPL", w, "TEXT", "M5");
    EXPECT_EQ(control.layerValue("REPL", w, "TEXT"), "M5");
    EXPECT_FALSE(control.layerValue("ATBL", w, "TEXT").has_value());
    EXPECT_EQ(control.getAttribute(w, "TEXT"), ""); // layers are not the widget's own look
    control.clearAttribute("REPL", w, "TEXT");
    EXPECT_FALSE(control.layerValue("REPL", w, "TEXT").has_value());
    EXPECT_EQ(texts(recorder, Stream::Calls).back(), "IWidgetControl.clearAttribute REPL 0.1.2.3 TEXT");
}

TEST(HostRecorder, NotificationsGoToTheirOwnStream)
{
    Recorder recorder;
    PanelEvent events(recorder);
    events.notifyEvent(UniqueWidgetID(0, 1, 2, 3), "PREMACROFINISHED");
    auto n = recorder.entries(Stream::Notify);
    ASSERT_EQ(n.size(), 1u);
    EXPECT_EQ(n[0].fields, (std::vector<std::string>{"0.1.2.3", "PREMACROFINISHED"}));
}

TEST(HostText, QuotedWordsRoundTrip)
{
    for (std::string text : {"", "plain", "two words", "say \"hi\"", "back\\slash"}) {
        std::vector<Word> words;
        std::string error;
        ASSERT_TRUE(splitWords(quoteWord(text), words, error));
        ASSERT_EQ(words.size(), 1u) << text;
        EXPECT_EQ(words[0].text, text);
    }
}

namespace {

struct RunnerRig {
    std::string dir;
    std::unique_ptr<Host> host;
    std::unique_ptr<ScriptRunner> runner;
    RunnerRig()
    {
        char pattern[] = "/tmp/hoststate-XXXXXX";
        dir = mkdtemp(pattern);
        HostOptions options;
        options.runDir = dir;
        options.captureStdout = false;
        options.captureLog = false;
        host = std::make_unique<Host>(options);
        runner = std::make_unique<ScriptRunner>(*host, "test");
    }
    ~RunnerRig()
    {
        runner.reset();
        host.reset();
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    }
    StepResult line(const std::string& text)
    {
        Script s = parseScript(text);
        EXPECT_TRUE(s.errors.empty()) << text;
        StepResult last;
        for (const auto& c : s.commands) {
            last = runner->execute(c);
            if (!last.ok) break;
        }
        return last;
    }
};

} // namespace

TEST(HostScriptRunner, ExpectMovesTheCursorPastTheMatchSoOrderIsChecked)
{
    RunnerRig rig;
    ASSERT_TRUE(rig.line("publish A = 1\npublish B = 2\npublish A = 3").ok);
    EXPECT_TRUE(rig.line("expect change A = 1").ok);
    EXPECT_TRUE(rig.line("expect change A = 3").ok);
    StepResult r = rig.line("expect change B = 2"); // came before the cursor
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.message, "expected change B = 2 ; saw nothing");
}

TEST(HostScriptRunner, ExpectNoLeavesTheCursorWhereItIs)
{
    RunnerRig rig;
    ASSERT_TRUE(rig.line("publish A = 1\npublish B = 2").ok);
    EXPECT_TRUE(rig.line("expect no change C").ok);
    EXPECT_TRUE(rig.line("expect change A = 1").ok);
    StepResult r = rig.line("expect no change B");
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.message, "expected no change B ; saw B = 2");
    EXPECT_TRUE(rig.line("expect change B = 2").ok);
}

TEST(HostScriptRunner, FailedExpectNamesTheNearestCandidates)
{
    RunnerRig rig;
    ASSERT_TRUE(rig.line("publish PANEL.X = one\npublish PANEL.Y = two").ok);
    StepResult r = rig.line("expect change PANEL.X = three");
    EXPECT_EQ(r.message, "expected change PANEL.X = three ; saw PANEL.X = one");
    StepResult s = rig.line("expect state PANEL.Z = 1");
    EXPECT_EQ(s.message, "expected state PANEL.Z = 1 ; saw no key PANEL.Z");
    StepResult t = rig.line("expect state int PANEL.X = one");
    EXPECT_EQ(t.message, "expected state int PANEL.X = one ; saw PANEL.X = one (text)");
}

TEST(HostScriptRunner, WithinWaitsForALaterChange)
{
    RunnerRig rig;
    std::thread later([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        rig.host->state().publish("MFD1.MACRO.REG1.STATUS", "PLAY");
    });
    EXPECT_TRUE(rig.line("expect change MFD1.MACRO.REG1.STATUS = PLAY within 5000").ok);
    EXPECT_TRUE(rig.line("expect state MFD1.MACRO.REG1.STATUS = PLAY").ok);
    later.join();
}

TEST(HostScriptRunner, FilesBytesAndRunDirectory)
{
    RunnerRig rig;
    ASSERT_TRUE(rig.line("file deep/down/a.txt <<END\n path {run}\nEND").ok);
    EXPECT_TRUE(rig.line("expect file deep/down/a.txt = <<END\n path {run}\nEND").ok);
    EXPECT_TRUE(rig.line("expect file deep/down/a.txt contains " + rig.dir).ok);
    EXPECT_TRUE(rig.line("expect file deep/down/a.txt lacks {run}x").ok);
    ASSERT_TRUE(rig.line("file b.bin hex <<END\n00 ff\nEND").ok);
    EXPECT_TRUE(rig.line("expect file b.bin = hex <<END\n00ff\nEND").ok);
    EXPECT_TRUE(rig.line("remove b.bin\nexpect no file b.bin").ok);
    StepResult r = rig.line("expect file b.bin");
    EXPECT_EQ(r.message.rfind("expected file b.bin ; saw no file ", 0), 0u) << r.message;
}

TEST(HostScriptRunner, LocksAreTakenFromASeparateFile)
{
    RunnerRig rig;
    ASSERT_TRUE(rig.line("file data/x.txt <<END\nEND\nlock data/x.txt exclusive").ok);
    const std::string path = rig.dir + "/data/x.txt";
    const int fd = ::open(path.c_str(), O_RDONLY);
    ASSERT_GE(fd, 0);
    EXPECT_NE(::flock(fd, LOCK_SH | LOCK_NB), 0); // held by the script
    EXPECT_FALSE(rig.line("lock data/x.txt shared").ok);
    EXPECT_TRUE(rig.line("unlock data/x.txt").ok);
    EXPECT_EQ(::flock(fd, LOCK_SH | LOCK_NB), 0);
    ::close(fd);
}

TEST(HostScriptRunner, SimKnobsReadBack)
{
    RunnerRig rig;
    std::string all = "0102";
    for (int i = 0; i < 254; ++i) all += "ff";
    EXPECT_TRUE(rig.line("sim i2c.eeprom = hex <<END\n0102\nEND\nexpect sim i2c.eeprom = hex <<END\n" + all + "\nEND").ok);
    EXPECT_FALSE(rig.line("expect sim i2c.eeprom = hex <<END\n0102\nEND").ok); // 256 bytes are stored
    EXPECT_TRUE(rig.line("sim date = 2024-01-02\nexpect sim date = 2024-01-02").ok);
    StepResult r = rig.line("sim i2c.write = sometimes");
    EXPECT_FALSE(r.ok);
    EXPECT_NE(r.message.find("ok fail"), std::string::npos) << r.message;
}

TEST(HostScriptRunner, FileTextsKeepTheirQuotes)
{
    RunnerRig rig;
    ASSERT_TRUE(rig.line("file a.xml <<END\n<macro name=\"Third\" date=\"1\" />\nEND").ok);
    // A lacks of an attribute the file holds fails, quotes and all.
    StepResult r = rig.line("expect file a.xml lacks name=\"Third\"");
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.message.rfind("expected file a.xml lacks name=\"Third\" ; saw ", 0), 0u) << r.message;
    EXPECT_TRUE(rig.line("expect file a.xml contains name=\"Third\"").ok);
    // Without its quotes the text is not in the file.
    EXPECT_FALSE(rig.line("expect file a.xml contains name=Third").ok);
    EXPECT_TRUE(rig.line("expect file a.xml lacks name=Third").ok);
    // A quote left open is part of the text.
    EXPECT_TRUE(rig.line("expect file a.xml contains date=\"").ok);
    EXPECT_FALSE(rig.line("expect file a.xml lacks date=\"").ok);
    // Only a text wholly in quotes loses them.
    EXPECT_TRUE(rig.line("expect file a.xml contains \"<macro name\"").ok);
}

TEST(HostScriptRunner, LinesNeedingTheModuleFailClearlyWithoutOne)
{
    HostOptions options;
    char pattern[] = "/tmp/hoststate-XXXXXX";
    options.runDir = mkdtemp(pattern);
    options.modulePath = "/nonexistent/libpanelmfd.so";
    options.captureStdout = false;
    options.captureLog = false;
    Host host(options);
    ScriptRunner runner(host, "test");
    Script s = parseScript("fid SETVAR NAME=a VALUE=b");
    StepResult r = runner.execute(s.commands[0]);
    EXPECT_FALSE(r.ok);
    EXPECT_NE(r.message.find("cannot load the module /nonexistent/libpanelmfd.so"), std::string::npos) << r.message;
    std::error_code ec;
    std::filesystem::remove_all(options.runDir, ec);
}

TEST(HostConsole, CompletesCommandWordsFidNamesAndOperations)
{
    HostOptions options;
    options.runDir = "/tmp";
    options.captureLog = false;
    Host host(options);
    Console console(host);
    auto has = [](const std::set<std::string>& set, const std::string& word) { return set.count(word) == 1; };
    EXPECT_TRUE(has(console.candidates("", "ex"), "expect"));
    EXPECT_TRUE(has(console.candidates("", "q"), "quit"));
    EXPECT_TRUE(has(console.candidates("fid ", "SETV"), "SETVAR"));
    EXPECT_TRUE(has(console.candidates("fid ", "COLORS."), "COLORS.LOAD.PREPARE"));
    EXPECT_TRUE(has(console.candidates("record ", "PANEL.LOG"), "PANEL.LOG.TIMESTAMP"));
    EXPECT_TRUE(has(console.candidates("call ", "IMacroSystem.exec"), "IMacroSystem.execPreMacro"));
    EXPECT_TRUE(has(console.candidates("expect get ", "query"), "queryInterface"));
    EXPECT_TRUE(has(console.candidates("expect ", "st"), "state"));
    // The names every subsystem of the module registers, for all eight workplaces.
    EXPECT_TRUE(has(console.candidates("fid ", "MACRO7.REC"), "MACRO7.RECALL"));
    EXPECT_TRUE(has(console.candidates("fid ", "MEMORY.DEF"), "MEMORY.DEFINE.ADD"));
    EXPECT_TRUE(has(console.candidates("fid ", "SETTINGS.BRIGHTNESS.DISPLAY.T"),
                    "SETTINGS.BRIGHTNESS.DISPLAY.TEXT.INC"));
    EXPECT_TRUE(has(console.candidates("fid ", "ASSIGNMENT.SET1.MACRO.B"), "ASSIGNMENT.SET1.MACRO.BUTTON.2ND.SET"));
    // Names seen sent by the module join the list.
    FIDParameterList p;
    host.fidReceiver().sendFID("PANEL.MACRO0.RECALL", p);
    EXPECT_TRUE(has(console.candidates("fid ", "MACRO0."), "MACRO0.RECALL"));
    EXPECT_TRUE(console.candidates("fid ", "NOSUCH").empty());
}
