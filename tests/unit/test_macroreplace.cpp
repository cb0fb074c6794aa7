// MacroRecorder: the replace-macro attributes on a button and its displays (layer "REPL"), and their look-ups.
#include <functional>
#include <thread>

#include "support/recordingwidgetcontrol.h"
#include "test_macro_rig.h"

using namespace macrotest;

namespace {

const UniqueWidgetID kX(0, 1, 2, 7);
const UniqueWidgetID kLocal(0, 3, 4, 7); // a module without a driver

class MacroReplaceTest : public AttachRigTest {
protected:
    void active(bool on) { ASSERT_TRUE(rig.fid("MACRO0.ATTACHMENTS.ACTIVE.SET", {{"VALUE", on ? "ON" : "OFF"}})); }
    void driver(const UniqueWidgetID& w, const std::string& id) { ASSERT_TRUE(rig.fid("MACRO0.MFDID.SET", {{"ID", id}}, w)); }
    void displays(const UniqueWidgetID& w, int primary, int secondary = -1, int tertiary = -1)
    {
        ASSERT_TRUE(rig.fid("MACRO0.ASSOCIATE.DISPLAY", {{"PRIMARY", std::to_string(primary)},
                                                         {"SECONDARY", std::to_string(secondary)},
                                                         {"TERTIARY", std::to_string(tertiary)}},
                            w));
    }
    std::string button(const std::string& attribute) const { return control.layer("REPL", "0.1.2.7", attribute); }
    std::string display(int number, const std::string& attribute) const
    {
        return control.layer("REPL", "0.1.2." + std::to_string(number), attribute);
    }
    // A driven button with a pre-macro 11 and a replace macro 12, attachments active.
    MacroRecorder& preAndReplace()
    {
        MacroRecorder& r = make();
        driver(kX, "MFD1");
        EXPECT_TRUE(attach(kX, "PRE", 11));
        EXPECT_TRUE(attach(kX, "REPLACE", 12));
        active(true);
        return r;
    }

};

// A widget control that holds the first call made on any thread but the
// test's own until a condition holds (asked without any lock of its own, up to
// five seconds), so that another thread can act while that call is under way.
class GatedWidgetControl : public RecordingWidgetControl {
public:
    explicit GatedWidgetControl(std::function<bool()> until) : m_until(std::move(until)) {}

    void setAttribute(const std::string& layer, const UniqueWidgetID& widget, const std::string& attribute,
                      const std::string& value) override
    {
        hold();
        RecordingWidgetControl::setAttribute(layer, widget, attribute, value);
    }
    void clearAttribute(const std::string& layer, const UniqueWidgetID& widget, const std::string& attribute) override
    {
        hold();
        RecordingWidgetControl::clearAttribute(layer, widget, attribute);
    }
    // Waits until a call is held.
    bool waitHeld()
    {
        std::unique_lock<std::mutex> lock(m_gateMutex);
        return m_gateChanged.wait_for(lock, 5s, [&] { return m_held; });
    }

private:
    void hold()
    {
        {
            std::lock_guard<std::mutex> lock(m_gateMutex);
            if (m_used || std::this_thread::get_id() == m_testThread) return;
            m_used = true;
            m_held = true;
            m_gateChanged.notify_all();
        }
        const auto end = Clock::now() + 5s;
        while (!m_until() && Clock::now() < end) {
            std::unique_lock<std::mutex> lock(m_gateMutex);
            m_gateChanged.wait_for(lock, 2ms);
        }
    }

    std::function<bool()> m_until;
    const std::thread::id m_testThread = std::this_thread::get_id();
    std::mutex m_gateMutex;
    std::condition_variable m_gateChanged;
    bool m_used = false;
    bool m_held = false;
};

} // namespace

// ---- colour and lamp -------------------------------------------------------------------------

TEST_F(MacroReplaceTest, PauseBeatsPlay)
{
    MacroRecorder& r = preAndReplace();
    r.updateDirect("MFD1.MACRO.CURRENT.REG", "11");
    r.updateDirect("MFD1.MACRO.REG11.STATUS", "PLAY");
    EXPECT_EQ(button("COLOR"), "ORANGE");
    r.updateDirect("MFD1.MACRO.REG12.STATUS", "PAUSE");
    EXPECT_EQ(button("ACTIVE"), "TRUE");
    EXPECT_EQ(button("COLOR"), "PURPLE");
    EXPECT_EQ(button("LAMP"), "ON");
}

TEST_F(MacroReplaceTest, PauseLightsTheLampOnlyForTheLatestMacro)
{
    MacroRecorder& r = preAndReplace();
    ASSERT_TRUE(attach(kX, "POST", 13));
    r.updateDirect("MFD1.MACRO.REG12.STATUS", "PAUSE");
    r.updateDirect("MFD1.MACRO.CURRENT.REG", "5");
    EXPECT_EQ(button("COLOR"), "PURPLE");
    EXPECT_EQ(button("LAMP"), "OFF");
    r.updateDirect("MFD1.MACRO.CURRENT.REG", "13");
    EXPECT_EQ(button("LAMP"), "ON");
}

TEST_F(MacroReplaceTest, PlayAlwaysLightsTheLamp)
{
    MacroRecorder& r = preAndReplace();
    ASSERT_TRUE(attach(kX, "POST", 13));
    r.updateDirect("MFD1.MACRO.CURRENT.REG", "5");
    r.updateDirect("MFD1.MACRO.REG13.STATUS", "PLAY");
    EXPECT_EQ(button("COLOR"), "ORANGE");
    EXPECT_EQ(button("LAMP"), "ON");
}

TEST_F(MacroReplaceTest, ReplaceMacroInForceShowsTheDriversColourAndLightsForTheLatestReplace)
{
    MacroRecorder& r = preAndReplace();
    r.updateDirect("MFD1.COLOR.MACRO", "CYAN");
    r.updateDirect("MFD1.MACRO.CURRENT.REG", "11");
    EXPECT_EQ(button("ACTIVE"), "TRUE");
    EXPECT_EQ(button("COLOR"), "CYAN");
    EXPECT_EQ(button("LAMP"), "OFF");
    r.updateDirect("MFD1.MACRO.CURRENT.REG", "12");
    EXPECT_EQ(button("LAMP"), "ON");
}

TEST_F(MacroReplaceTest, DriverColourThatHasNotArrivedIsEmpty)
{
    MacroRecorder& r = preAndReplace();
    EXPECT_EQ(button("COLOR"), "");
    EXPECT_EQ(r.getMacroColor(kX), "");
}

TEST_F(MacroReplaceTest, WithoutReplaceMacroAndNothingRunningAllThreeAreClearedThoughPreAndPostAreAttached)
{
    MacroRecorder& r = make();
    driver(kX, "MFD1");
    ASSERT_TRUE(attach(kX, "PRE", 11));
    ASSERT_TRUE(attach(kX, "POST", 13));
    control.clearCalls();
    active(true);
    EXPECT_EQ(control.calls(), (std::vector<std::string>{"set REPL 0.1.2.7 ACTIVE=TRUE", "clear REPL 0.1.2.7 COLOR",
                                                         "clear REPL 0.1.2.7 LAMP", "clear REPL 0.1.2.7 ACTIVE"}));
    EXPECT_EQ(control.layerContents("REPL"), std::vector<std::string>{});
    r.updateDirect("MFD1.MACRO.REG13.STATUS", "PLAY");
    EXPECT_EQ(button("COLOR"), "ORANGE");
}

TEST_F(MacroReplaceTest, AButtonOnAModuleWithoutDriverNeverGetsActive)
{
    MacroRecorder& r = make();
    rig.recordMacro(12, {{"PANEL.STEP", params({})}});
    ASSERT_TRUE(attach(kLocal, "REPLACE", 12));
    ASSERT_TRUE(rig.fid("MACRO0.ASSOCIATE.DISPLAY", {{"PRIMARY", "9"}}, kLocal));
    active(true);
    r.setMacroLevel(kLocal, "");
    ASSERT_TRUE(rig.fid("MACRO0.NAME.SET", {{"REG", "12"}, {"NAME", "Local"}}));
    r.updateDirect("PANEL.SETTINGS0.COLOR.MACRO", "GREEN");
    for (const auto& call : control.calls()) EXPECT_EQ(call.rfind("set ", 0), std::string::npos) << call;
    EXPECT_EQ(control.layerContents("REPL"), std::vector<std::string>{});
    EXPECT_EQ(r.getReplaceMacroName(kLocal), "Local");
    EXPECT_EQ(r.getMacroColor(kLocal), "GREEN");
}

TEST_F(MacroReplaceTest, StatusesWithoutATableReadAsNeitherPlayNorPause)
{
    MacroRecorder& r = preAndReplace();
    r.updateDirect("MFD2.MACRO.REG12.STATUS", "PLAY");
    EXPECT_EQ(button("COLOR"), "");
    EXPECT_EQ(button("LAMP"), "OFF");
    EXPECT_EQ(r.getMacroStatus(kX, 12), "STOP");
}

TEST_F(MacroReplaceTest, NothingIsShownWhileAttachmentsAreInactiveOrWithoutWidgetControl)
{
    MacroRecorder& r = make();
    driver(kX, "MFD1");
    ASSERT_TRUE(attach(kX, "REPLACE", 12));
    r.updateDirect("MFD1.MACRO.REG12.STATUS", "PLAY");
    EXPECT_EQ(control.calls(), std::vector<std::string>{});
    r.setWidgetControlInterface(nullptr);
    active(true);
    r.updateDirect("MFD1.MACRO.REG12.STATUS", "PAUSE");
    EXPECT_EQ(control.calls(), std::vector<std::string>{});
}

TEST_F(MacroReplaceTest, AReplaceAttachmentShowsAtOnce)
{
    make();
    driver(kX, "MFD1");
    active(true);
    ASSERT_TRUE(attach(kX, "REPLACE", 12));
    EXPECT_EQ(button("ACTIVE"), "TRUE");
    EXPECT_EQ(button("COLOR"), "");
    EXPECT_EQ(button("LAMP"), "OFF");
}

TEST_F(MacroReplaceTest, StatusOfOtherDriversOrRegistersRepaintsNothing)
{
    MacroRecorder& r = preAndReplace();
    driver(UniqueWidgetID(0, 5, 5, 0), "MFD2");
    control.clearCalls();
    r.updateDirect("MFD2.MACRO.REG12.STATUS", "PLAY");
    r.updateDirect("MFD1.MACRO.REG99.STATUS", "PLAY");
    EXPECT_EQ(control.calls(), std::vector<std::string>{});
}

TEST_F(MacroReplaceTest, UnmappedModuleKeepsItsAttributesUntilTheNextRepaint)
{
    MacroRecorder& r = preAndReplace();
    r.updateDirect("MFD1.MACRO.REG12.STATUS", "PLAY");
    control.clearCalls();
    driver(kX, "");
    EXPECT_EQ(control.calls(), std::vector<std::string>{});
    EXPECT_EQ(button("COLOR"), "ORANGE");
    r.updateDirect("MFD1.MACRO.REG12.STATUS", "STOP");
    EXPECT_EQ(button("COLOR"), "ORANGE");
}

// ---- displays --------------------------------------------------------------------------------

TEST_F(MacroReplaceTest, PrimaryDisplayShowsTheNameSingleWithoutBlinkOrInvert)
{
    MacroRecorder& r = preAndReplace();
    displays(kX, 9);
    r.updateDirect("MFD1.MACRO.REG12.NAME", "Wipe");
    EXPECT_EQ(control.layerContents("REPL"),
              (std::vector<std::string>{"0.1.2.7 ACTIVE=TRUE", "0.1.2.7 COLOR=", "0.1.2.7 LAMP=OFF",
                                        "0.1.2.9 BLINK=OFF", "0.1.2.9 INVERT=OFF", "0.1.2.9 TEXT=Wipe",
                                        "0.1.2.9 TEXTLN1=Wipe", "0.1.2.9 TYPE=SINGLE"}));
    EXPECT_EQ(r.getReplaceMacroName(kX), "Wipe");
}

TEST_F(MacroReplaceTest, AnEmptyNameLeavesTheTextAloneButStillSetsTheType)
{
    MacroRecorder& r = preAndReplace();
    displays(kX, 9);
    control.clearCalls();
    r.updateDirect("MFD1.MACRO.REG12.NAME", "");
    EXPECT_EQ(control.calls(), (std::vector<std::string>{"set REPL 0.1.2.7 ACTIVE=TRUE", "set REPL 0.1.2.7 COLOR=",
                                                         "set REPL 0.1.2.7 LAMP=OFF", "set REPL 0.1.2.9 TYPE=SINGLE",
                                                         "set REPL 0.1.2.9 BLINK=OFF",
                                                         "set REPL 0.1.2.9 INVERT=OFF"}));
}

TEST_F(MacroReplaceTest, DisplaysBelongToTheReplaceMacroAlone)
{
    MacroRecorder& r = make();
    driver(kX, "MFD1");
    ASSERT_TRUE(attach(kX, "PRE", 11));
    displays(kX, 9, 10);
    active(true);
    r.updateDirect("MFD1.MACRO.REG11.STATUS", "PLAY");
    EXPECT_EQ(display(9, "TYPE"), "-");
    EXPECT_EQ(button("COLOR"), "ORANGE");
}

TEST_F(MacroReplaceTest, SecondaryOfTypeHalfOrSingleBecomesSingle)
{
    for (const char* type : {"HALF", "SINGLE"}) {
        MacroRecorder& r = preAndReplace();
        control.setOwn("0.1.2.10", "TYPE", type);
        displays(kX, 9, 10);
        control.clearCalls();
        r.updateDirect("MFD1.MACRO.REG12.NAME", "Wipe");
        const auto calls = control.calls();
        EXPECT_EQ(std::vector<std::string>(calls.end() - 2, calls.end()),
                  (std::vector<std::string>{"get 0.1.2.10 TYPE", "set REPL 0.1.2.10 TYPE=SINGLE"}))
            << type;
        rig.recorder.reset();
    }
}

TEST_F(MacroReplaceTest, SecondaryOfTypeThirdsplitKeepsItsType)
{
    MacroRecorder& r = preAndReplace();
    control.setOwn("0.1.2.10", "TYPE", "THIRDSPLIT");
    displays(kX, 9, 10);
    r.updateDirect("MFD1.MACRO.REG12.NAME", "Wipe");
    EXPECT_EQ(display(10, "TYPE"), "-");
    EXPECT_EQ(control.calls().back(), "get 0.1.2.10 TYPE");
}

TEST_F(MacroReplaceTest, ThreeDisplaysSplitInThirdsAndUseTheFirstLineWhenTheTertiaryNumberIsLower)
{
    MacroRecorder& r = preAndReplace();
    displays(kX, 7, 6, 5);
    control.clearCalls();
    r.updateDirect("MFD1.MACRO.REG12.NAME", "Wipe");
    const auto calls = control.calls();
    EXPECT_EQ(std::vector<std::string>(calls.begin() + 3, calls.end()),
              (std::vector<std::string>{"set REPL 0.1.2.7 TEXT=Wipe", "set REPL 0.1.2.7 TEXTLN1=Wipe",
                                        "set REPL 0.1.2.7 TYPE=SINGLE", "set REPL 0.1.2.7 BLINK=OFF",
                                        "set REPL 0.1.2.7 INVERT=OFF", "set REPL 0.1.2.7 TYPE=THIRDSPLIT",
                                        "set REPL 0.1.2.6 TYPE=THIRDSPLIT", "set REPL 0.1.2.5 TYPE=THIRDSPLIT",
                                        "set REPL 0.1.2.7 TEXTLN1=Wipe", "set REPL 0.1.2.6 TEXTLN1=Wipe",
                                        "set REPL 0.1.2.5 TEXTLN1=Wipe"}));
}

TEST_F(MacroReplaceTest, ThreeDisplaysWithEqualNumbersUseTheSecondLine)
{
    MacroRecorder& r = preAndReplace();
    displays(kX, 9, 10, 9);
    r.updateDirect("MFD1.MACRO.REG12.NAME", "Wipe");
    EXPECT_EQ(display(9, "TEXTLN2"), "Wipe");
    EXPECT_EQ(display(10, "TEXTLN2"), "Wipe");
    EXPECT_EQ(display(10, "TYPE"), "THIRDSPLIT");
    EXPECT_EQ(display(10, "TEXTLN1"), "-");
}

TEST_F(MacroReplaceTest, ThreeDisplaysWithAHigherTertiaryUseTheSecondLine)
{
    MacroRecorder& r = preAndReplace();
    displays(kX, 9, 10, 11);
    r.updateDirect("MFD1.MACRO.REG12.NAME", "Wipe");
    EXPECT_EQ(display(11, "TEXTLN2"), "Wipe");
    EXPECT_EQ(display(9, "TEXTLN1"), "Wipe");
    EXPECT_EQ(display(11, "TEXTLN1"), "-");
}

// ---- hiding ----------------------------------------------------------------------------------

TEST_F(MacroReplaceTest, DetachOfTheReplaceMacroHidesButtonAndPrimaryAndSecondaryType)
{
    MacroRecorder& r = preAndReplace();
    displays(kX, 9, 10);
    r.updateDirect("MFD1.MACRO.REG12.NAME", "Wipe");
    control.clearCalls();
    ASSERT_TRUE(detach(kX, "REPLACE"));
    EXPECT_EQ(control.calls(),
              (std::vector<std::string>{"clear REPL 0.1.2.7 COLOR", "clear REPL 0.1.2.7 ACTIVE",
                                        "clear REPL 0.1.2.7 LAMP", "clear REPL 0.1.2.9 TEXT",
                                        "clear REPL 0.1.2.9 TEXTLN1", "clear REPL 0.1.2.9 TYPE",
                                        "clear REPL 0.1.2.9 BLINK", "clear REPL 0.1.2.9 INVERT",
                                        "clear REPL 0.1.2.10 TYPE"}));
    EXPECT_EQ(control.layerContents("REPL"), std::vector<std::string>{});
}

TEST_F(MacroReplaceTest, HidingThreeDisplaysClearsTheLineTheOrderChose)
{
    MacroRecorder& r = preAndReplace();
    displays(kX, 7, 6, 5);
    r.updateDirect("MFD1.MACRO.REG12.NAME", "Wipe");
    control.clearCalls();
    active(false);
    const auto calls = control.calls();
    EXPECT_EQ(std::vector<std::string>(calls.end() - 5, calls.end()),
              (std::vector<std::string>{"clear REPL 0.1.2.6 TYPE", "clear REPL 0.1.2.5 TYPE",
                                        "clear REPL 0.1.2.7 TEXTLN1", "clear REPL 0.1.2.6 TEXTLN1",
                                        "clear REPL 0.1.2.5 TEXTLN1"}));
    EXPECT_EQ(control.layerContents("REPL"), std::vector<std::string>{});
}

TEST_F(MacroReplaceTest, HidingHasNoTestForTheDriver)
{
    MacroRecorder& r = make();
    ASSERT_TRUE(attach(kLocal, "PRE", 1));
    active(true);
    control.clearCalls();
    r.setMacroLevel(kLocal, "A");
    EXPECT_EQ(control.calls(), (std::vector<std::string>{"clear REPL 0.3.4.7 COLOR", "clear REPL 0.3.4.7 ACTIVE",
                                                         "clear REPL 0.3.4.7 LAMP"}));
}

TEST_F(MacroReplaceTest, HidingDoesNothingWhileInactiveOrForAButtonWithoutAttachments)
{
    MacroRecorder& r = make();
    driver(kX, "MFD1");
    ASSERT_TRUE(attach(kX, "REPLACE", 12));
    ASSERT_TRUE(detach(kX, "REPLACE"));
    active(true);
    r.setMacroLevel(kX, "A");
    EXPECT_EQ(control.calls(), std::vector<std::string>{});
}

TEST_F(MacroReplaceTest, LevelChangeHidesTheOldLevelAndShowsTheNew)
{
    MacroRecorder& r = preAndReplace();
    r.setMacroLevel(kX, "B");
    ASSERT_TRUE(attach(kX, "PRE", 21));
    control.clearCalls();
    r.setMacroLevel(kX, "");
    EXPECT_EQ(control.calls(),
              (std::vector<std::string>{"clear REPL 0.1.2.7 COLOR", "clear REPL 0.1.2.7 ACTIVE",
                                        "clear REPL 0.1.2.7 LAMP", "set REPL 0.1.2.7 ACTIVE=TRUE",
                                        "set REPL 0.1.2.7 COLOR=", "set REPL 0.1.2.7 LAMP=OFF"}));
}

// ---- look-ups --------------------------------------------------------------------------------

TEST_F(MacroReplaceTest, MacroStatusIsStopForNumberZeroAndWithoutDriverOrTable)
{
    MacroRecorder& r = make();
    EXPECT_EQ(r.getMacroStatus(kX, 5), "STOP");
    driver(kX, "MFD1");
    EXPECT_EQ(r.getMacroStatus(kX, 5), "STOP");
    r.updateDirect("MFD1.MACRO.REG5.STATUS", "PLAY");
    EXPECT_EQ(r.getMacroStatus(kX, 5), "PLAY");
    EXPECT_EQ(r.getMacroStatus(kX, 6), "");
    EXPECT_EQ(r.getMacroStatus(kX, 0), "STOP");
    EXPECT_EQ(r.getMacroStatus(kX, 1000), "STOP");
}

TEST_F(MacroReplaceTest, MacroColourIsThePanelsYellowUntilASettingArrives)
{
    MacroRecorder& r = make();
    EXPECT_EQ(r.getMacroColor(kLocal), "YELLOW");
    r.updateDirect("PANEL.SETTINGS0.COLOR.MACRO", "BLUE");
    EXPECT_EQ(r.getMacroColor(kLocal), "BLUE");
    driver(kX, "MFD1");
    r.updateDirect("MFD1.COLOR.MACRO", "RED");
    EXPECT_EQ(r.getMacroColor(kX), "RED");
    EXPECT_EQ(r.getMacroColor(kLocal), "BLUE");
}

TEST_F(MacroReplaceTest, ReplaceMacroNameComesFromTheDriverOrTheLocalRegister)
{
    MacroRecorder& r = make();
    EXPECT_EQ(r.getReplaceMacroName(kLocal), "");
    ASSERT_TRUE(attach(kLocal, "REPLACE", 12));
    EXPECT_EQ(r.getReplaceMacroName(kLocal), "");
    rig.recordMacro(12, {{"PANEL.STEP", params({})}});
    EXPECT_EQ(r.getReplaceMacroName(kLocal), "M012");

    driver(kX, "MFD1");
    ASSERT_TRUE(attach(kX, "REPLACE", 12));
    EXPECT_EQ(r.getReplaceMacroName(kX), "");
    r.updateDirect("MFD1.MACRO.REG12.NAME", "Remote");
    EXPECT_EQ(r.getReplaceMacroName(kX), "Remote");

    for (int outside : {0, 1000, -1}) {
        ASSERT_TRUE(attach(kX, "REPLACE", outside));
        EXPECT_EQ(r.getReplaceMacroName(kX), "") << outside;
    }
}

TEST_F(MacroReplaceTest, LatestMacroNeedsADriverWithAStatusTable)
{
    MacroRecorder& r = make();
    EXPECT_EQ(r.getLatestMacro(kX), 0);
    driver(kX, "MFD1");
    r.updateDirect("MFD1.MACRO.CURRENT.REG", "7");
    EXPECT_EQ(r.getLatestMacro(kX), 0);
    r.updateDirect("MFD1.MACRO.REG7.STATUS", "PLAY");
    EXPECT_EQ(r.getLatestMacro(kX), 7);
    r.updateDirect("MFD1.MACRO.CURRENT.REG", "INV");
    EXPECT_EQ(r.getLatestMacro(kX), 7);
}

// ---- threads ---------------------------------------------------------------------------------

TEST_F(MacroReplaceTest, ARepaintFromTheDriversThreadCannotOutliveADetachOnTheHostsThread)
{
    MacroRecorder& r = make();
    driver(kX, "MFD1");
    ASSERT_TRUE(attach(kX, "REPLACE", 12));
    displays(kX, 9, 10, 11);
    r.updateDirect("MFD1.MACRO.REG12.NAME", "Wipe");
    active(true);
    ASSERT_EQ(button("ACTIVE"), "TRUE");
    ASSERT_EQ(display(11, "TEXTLN2"), "Wipe");

    // The driver's status repaints the button on its own thread; its first
    // call to the widget control is held until the host's thread has taken
    // the replace macro off.
    GatedWidgetControl gate([&] {
        MacroRecorder::Widget copy;
        return r.findWidget(kX, copy) && copy.getMacro(MacroRecorder::Widget::REPLACE) == 0;
    });
    r.setWidgetControlInterface(&gate);
    std::thread driverThread([&] { r.updateDirect("MFD1.MACRO.REG12.STATUS", "PLAY"); });
    EXPECT_TRUE(gate.waitHeld());
    EXPECT_TRUE(detach(kX, "REPLACE"));
    driverThread.join();

    // The detach was decided last: nothing stays on the layer, and a repaint
    // decided now agrees.
    EXPECT_EQ(gate.layerContents("REPL"), std::vector<std::string>{});
    const auto calls = gate.calls();
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls.back(), "clear REPL 0.1.2.11 TEXTLN2");
    r.updateDirect("MFD1.MACRO.REG12.STATUS", "STOP");
    EXPECT_EQ(gate.layerContents("REPL"), std::vector<std::string>{});
    r.setWidgetControlInterface(&control);
}
