// The slot layout of every interface of the host contract. A host built against
// its own copy of these tables reaches an operation through its vtable slot, so
// the slot of each operation, and its signature, are part of the contract. Each
// check names the operation with its full signature (a change of a result type
// or an argument fails to compile) and compares its vtable slot.
//
// Slots count from the start of the vtable as the Itanium C++ ABI lays it out:
// an interface's virtual base IInterface is its primary base, so its destructor
// pair and queryInterface take slots 0 to 2 and the interface's own operations
// follow from slot 3.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "macrorecorder.h"
#include "macrosystem.h"
#include "mfdbase.h"
#include "oskit/Module.h"
#include "panelmfd/host.h"
#include "panelsettings.h"
#include "panelsys/SystemSettings.h"
#include "panelsys/Task.h"

namespace {

// The vtable slot that a pointer to a virtual member function holds; -1 for a
// function that isn't virtual.
template <typename Pmf>
long slotOf(Pmf pmf)
{
    static_assert(sizeof(Pmf) == 2 * sizeof(void*), "a pointer to member function of the Itanium ABI");
    struct Representation {
        std::uintptr_t ptr;
        std::ptrdiff_t adj;
    } rep;
    std::memcpy(&rep, &pmf, sizeof rep);
    if ((rep.ptr & 1u) == 0) return -1;
    return static_cast<long>((rep.ptr - 1) / sizeof(void*));
}

template <typename Class, typename Function>
using MemberFunction = Function Class::*;

// The slot of an operation named with its class and its function type.
#define SLOT(Class, Name, ...) (slotOf<MemberFunction<Class, __VA_ARGS__>>(&Class::Name))

constexpr long kFirstOwn = 3; // behind the destructor pair and queryInterface

using Text = const std::string&;

} // namespace

TEST(InterfaceLayout, IInterfaceHasTheDestructorPairThenQueryInterface)
{
    EXPECT_EQ(SLOT(IInterface, queryInterface, IInterface*(unsigned int)), 2);
}

TEST(InterfaceLayout, IFunctionID)
{
    EXPECT_EQ(SLOT(IFunctionID, sendFID, void(const FunctionID&, const FIDParameterList&) const), kFirstOwn + 0);
    EXPECT_EQ(SLOT(IFunctionID, subscribe, void(const FunctionID&) const), kFirstOwn + 1);
    EXPECT_EQ(SLOT(IFunctionID, showState, void() const), kFirstOwn + 2);
}

TEST(InterfaceLayout, IMFDConfiguration)
{
    EXPECT_EQ(SLOT(IMFDConfiguration, setConfiguration, void(int, Text, Text, Text, Text, Text, Text)), kFirstOwn + 0);
    EXPECT_EQ(SLOT(IMFDConfiguration, setPanelStateInterface, void(IPanelState*)), kFirstOwn + 1);
    EXPECT_EQ(SLOT(IMFDConfiguration, setDistributorFIDInterface, void(IDistributorFID*)), kFirstOwn + 2);
    EXPECT_EQ(SLOT(IMFDConfiguration, setSystemInterface, void(ISystem*)), kFirstOwn + 3);
    EXPECT_EQ(SLOT(IMFDConfiguration, initializationCompleted, void()), kFirstOwn + 4);
    EXPECT_EQ(SLOT(IMFDConfiguration, deinitialize, void()), kFirstOwn + 5);
    EXPECT_EQ(SLOT(IMFDConfiguration, createFIDList, void()), kFirstOwn + 6);
}

TEST(InterfaceLayout, IMFDFramework)
{
    EXPECT_EQ(SLOT(IMFDFramework, completeConfiguration, void()), kFirstOwn + 0);
    EXPECT_EQ(SLOT(IMFDFramework, completeInitialization, void()), kFirstOwn + 1);
    EXPECT_EQ(SLOT(IMFDFramework, deinitialize, void()), kFirstOwn + 2);
    EXPECT_EQ(SLOT(IMFDFramework, subscribePanelState, void(Text) const), kFirstOwn + 3);
}

TEST(InterfaceLayout, IPanelMFD)
{
    EXPECT_EQ(SLOT(IPanelMFD, setEventManagerInterface, void(IEventManager*)), kFirstOwn + 0);
    EXPECT_EQ(SLOT(IPanelMFD, setHwModuleManagerInterface, void(IHwModuleManager*)), kFirstOwn + 1);
    EXPECT_EQ(SLOT(IPanelMFD, setPanelFeedbackInterface, void(IPanelFeedback*)), kFirstOwn + 2);
    EXPECT_EQ(SLOT(IPanelMFD, setBrightnessManagerInterface, void(IBrightnessManager*)), kFirstOwn + 3);
    EXPECT_EQ(SLOT(IPanelMFD, setColorManagerInterface, void(IColorManager*)), kFirstOwn + 4);
    EXPECT_EQ(SLOT(IPanelMFD, setWidgetManagerInterface, void(IWidgetManager*)), kFirstOwn + 5);
    EXPECT_EQ(SLOT(IPanelMFD, setStateValue, void(Text, Text)), kFirstOwn + 6);
    EXPECT_EQ(SLOT(IPanelMFD, setWorkplaceConfigFilename, void(Text)), kFirstOwn + 7);
    EXPECT_EQ(SLOT(IPanelMFD, interfaceInitializationDone, void()), kFirstOwn + 8);
}

TEST(InterfaceLayout, IMacroSystem)
{
    using Widget = const UniqueWidgetID&;
    EXPECT_EQ(SLOT(IMacroSystem, isInReplaceMode, bool(Widget)), kFirstOwn + 0);
    EXPECT_EQ(SLOT(IMacroSystem, execPreMacro, bool(Widget)), kFirstOwn + 1);
    EXPECT_EQ(SLOT(IMacroSystem, execReplaceMacro, bool(Widget)), kFirstOwn + 2);
    EXPECT_EQ(SLOT(IMacroSystem, execPostMacro, void(Widget)), kFirstOwn + 3);
    EXPECT_EQ(SLOT(IMacroSystem, completePreMacro, void(Widget)), kFirstOwn + 4);
    EXPECT_EQ(SLOT(IMacroSystem, hasReplaceMacro, bool(Widget)), kFirstOwn + 5);
    EXPECT_EQ(SLOT(IMacroSystem, setMacroLevel, void(Widget, Text)), kFirstOwn + 6);
    EXPECT_EQ(SLOT(IMacroSystem, getMacroLevel, std::string(Widget)), kFirstOwn + 7);
    EXPECT_EQ(SLOT(IMacroSystem, onButtonDown, void(Widget)), kFirstOwn + 8);
    EXPECT_EQ(SLOT(IMacroSystem, onButtonHold, void(Widget)), kFirstOwn + 9);
    EXPECT_EQ(SLOT(IMacroSystem, onButtonRelease, void(Widget)), kFirstOwn + 10);
    EXPECT_EQ(SLOT(IMacroSystem, setWidgetControlInterface, void(IWidgetControl*)), kFirstOwn + 11);
    EXPECT_EQ(SLOT(IMacroSystem, setFIDReceiverInterface, void(IFunctionID*)), kFirstOwn + 12);
    EXPECT_EQ(SLOT(IMacroSystem, setPanelEventInterface, void(IPanelEvent*)), kFirstOwn + 13);
    EXPECT_EQ(SLOT(IMacroSystem, setPSPublisherInterface, void(IPSPublisher*)), kFirstOwn + 14);
    EXPECT_EQ(SLOT(IMacroSystem, recordFID, void(const FunctionID&, const FIDParameterList&)), kFirstOwn + 15);
}

TEST(InterfaceLayout, MacroSystemForwardsWithTheSameSignatures)
{
    using Widget = const UniqueWidgetID&;
    EXPECT_EQ(SLOT(MacroSystem, execPostMacro, void(Widget)), kFirstOwn + 3);
    EXPECT_EQ(SLOT(MacroSystem, completePreMacro, void(Widget)), kFirstOwn + 4);
    // The recorder's operations are plain members with the same results.
    EXPECT_EQ(SLOT(MacroRecorder, execPostMacro, void(Widget)), -1);
    EXPECT_EQ(SLOT(MacroRecorder, completePreMacro, void(Widget)), -1);
}

TEST(InterfaceLayout, IPanelSettings)
{
    EXPECT_EQ(SLOT(IPanelSettings, getBrightnessButtonLow, uint16_t(int)), kFirstOwn + 0);
    EXPECT_EQ(SLOT(IPanelSettings, getBrightnessButtonHi, uint16_t(int)), kFirstOwn + 1);
    EXPECT_EQ(SLOT(IPanelSettings, getBrightnessDisplayText, uint16_t(int)), kFirstOwn + 2);
    EXPECT_EQ(SLOT(IPanelSettings, getBrightnessDisplayOled, uint16_t(int)), kFirstOwn + 3);
    EXPECT_EQ(SLOT(IPanelSettings, getBrightnessDisplayTft, uint16_t(int)), kFirstOwn + 4);
    EXPECT_EQ(SLOT(IPanelSettings, getJoystickSensitivity, uint16_t(int)), kFirstOwn + 5);
    EXPECT_EQ(SLOT(IPanelSettings, getOLEDFontsResizable, bool(int)), kFirstOwn + 6);
    EXPECT_EQ(SLOT(IPanelSettings, getOLEDMode, int32_t(int)), kFirstOwn + 7);
    EXPECT_EQ(SLOT(IPanelSettings, isOLEDOutlineEnabled, bool(int)), kFirstOwn + 8);
    EXPECT_EQ(SLOT(IPanelSettings, getLeverArmTestStepSize, uint16_t(int)), kFirstOwn + 9);
    EXPECT_EQ(SLOT(IPanelSettings, getLeverArmTestStepCount, uint16_t(int)), kFirstOwn + 10);
    EXPECT_EQ(SLOT(IPanelSettings, setWidgetManagerInterface, void(IWidgetManager*)), kFirstOwn + 11);
}

namespace {

// A class derived from PanelSettings gets its first own virtual operation in
// the slot behind the last one of PanelSettings.
class SettingsProbe : public PanelSettings {
public:
    using PanelSettings::PanelSettings;
    virtual void firstSlotBehind();
    static long observerStartSlot() { return SLOT(SettingsProbe, startBrightnessObserver, void()); }
};

void SettingsProbe::firstSlotBehind() {}

} // namespace

TEST(InterfaceLayout, PanelSettingsHasExactlyFifteenVirtualOperations)
{
    EXPECT_EQ(SLOT(SettingsProbe, firstSlotBehind, void()), 15);
    EXPECT_EQ(SettingsProbe::observerStartSlot(), -1);
}

TEST(InterfaceLayout, IPmemStorage)
{
    EXPECT_EQ(SLOT(IPmemStorage, loadRegister, bool(int, int, int)), kFirstOwn + 0);
    EXPECT_EQ(SLOT(IPmemStorage, registerIsValid, bool(int, int)), kFirstOwn + 1);
    EXPECT_EQ(SLOT(IPmemStorage, registerIsEmpty, bool()), kFirstOwn + 2);
    EXPECT_EQ(SLOT(IPmemStorage, saveRegister, bool(int)), kFirstOwn + 3);
    EXPECT_EQ(SLOT(IPmemStorage, deleteRegister, bool(int, int)), kFirstOwn + 4);
    EXPECT_EQ(SLOT(IPmemStorage, getRegisterName, bool(int, int, std::string&) const), kFirstOwn + 5);
    EXPECT_EQ(SLOT(IPmemStorage, getRegisterName, bool(std::string&)), kFirstOwn + 6);
    EXPECT_EQ(SLOT(IPmemStorage, setRegisterName, bool(Text)), kFirstOwn + 7);
    EXPECT_EQ(SLOT(IPmemStorage, setRegisterName, bool(int, int, Text)), kFirstOwn + 8);
    EXPECT_EQ(SLOT(IPmemStorage, setRegisterValue, bool(Text, Text)), kFirstOwn + 9);
    EXPECT_EQ(SLOT(IPmemStorage, getRegisterValue, bool(Text, std::string&)), kFirstOwn + 10);
    EXPECT_EQ(SLOT(IPmemStorage, getRegisterValues, std::map<std::string, std::string>&()), kFirstOwn + 11);
}

TEST(InterfaceLayout, PDLStateSubscriberStartsWithItsDestructorPair)
{
    EXPECT_EQ(SLOT(PDLStateSubscriber, useEventManager, bool() const), 2);
    EXPECT_EQ(SLOT(PDLStateSubscriber, updateDirect, void(Text, Text)), 3);
    EXPECT_EQ(SLOT(PDLStateSubscriber, makeEvent, PDLEvent*(int)), 4);
    EXPECT_EQ(SLOT(PDLStateSubscriber, makeTriggerEvent, PDLEvent*(int, Text)), 5);
    EXPECT_EQ(SLOT(PDLStateSubscriber, update, void()), 6);
    EXPECT_EQ(SLOT(PDLStateSubscriber, triggerMFDriverEvent, void(Text)), 7);
    EXPECT_EQ(SLOT(PDLStateSubscriber, getDescription, std::string(int) const), 8);
    EXPECT_EQ(SLOT(PDLStateSubscriber, checkNewStateEntry, void(Text)), 9);
}

TEST(InterfaceLayout, IPanelState)
{
    EXPECT_EQ(SLOT(IPanelState, setStateValue, void(Text, Text)), kFirstOwn + 0);
    EXPECT_EQ(SLOT(IPanelState, setStateValueFloat, void(Text, float)), kFirstOwn + 1);
    EXPECT_EQ(SLOT(IPanelState, setStateValueInt, void(Text, int)), kFirstOwn + 2);
    EXPECT_EQ(SLOT(IPanelState, setStateValueBool, void(Text, bool)), kFirstOwn + 3);
    EXPECT_EQ(SLOT(IPanelState, unsetStateValue, void(Text)), kFirstOwn + 4);
    EXPECT_EQ(SLOT(IPanelState, triggerEvent, void(Text, Text)), kFirstOwn + 5);
}

TEST(InterfaceLayout, IDistributorFIDIEventManagerIHwModuleManagerIPanelFeedback)
{
    EXPECT_EQ(SLOT(IDistributorFID, dispatchFID, void(const FunctionID&, const FIDParameterList&)), kFirstOwn + 0);
    EXPECT_EQ(SLOT(IEventManager, setVar, void(const UniqueModuleID&, Text, Text)), kFirstOwn + 0);
    EXPECT_EQ(SLOT(IEventManager, changePDL, void(int, Text)), kFirstOwn + 1);
    EXPECT_EQ(SLOT(IHwModuleManager, getModuleInfo, bool(const UniqueModuleID&, Text, std::string&)), kFirstOwn + 0);
    EXPECT_EQ(SLOT(IHwModuleManager, setModuleID, bool(const UniqueModuleID&, Text, Text, Text)), kFirstOwn + 1);
    EXPECT_EQ(SLOT(IHwModuleManager, reloadModules, void()), kFirstOwn + 2);
    EXPECT_EQ(SLOT(IHwModuleManager, startTftCalibration, bool(int, int)), kFirstOwn + 3);
    EXPECT_EQ(SLOT(IPanelFeedback, trigger, void(const UniqueWidgetID&, Text, Text)), kFirstOwn + 0);
}

TEST(InterfaceLayout, IColorManagerHasItsFurtherSlotBetweenOffAndIncrement)
{
    EXPECT_EQ(SLOT(IColorManager, setColorHi, void(Text, const ColorRgb&)), kFirstOwn + 0);
    EXPECT_EQ(SLOT(IColorManager, setColorLow, void(Text, const ColorRgb&)), kFirstOwn + 1);
    EXPECT_EQ(SLOT(IColorManager, setColorOff, void(Text, const ColorRgb&)), kFirstOwn + 2);
    EXPECT_EQ(SLOT(IColorManager, colorManagerReserved, void()), kFirstOwn + 3);
    EXPECT_EQ(SLOT(IColorManager, incColorChannel, void(Text, int, int, int, bool)), kFirstOwn + 4);
    EXPECT_EQ(SLOT(IColorManager, prepareLoad, void()), kFirstOwn + 5);
    EXPECT_EQ(SLOT(IColorManager, finishLoad, void()), kFirstOwn + 6);
    EXPECT_EQ(SLOT(IColorManager, prepareSave, void()), kFirstOwn + 7);
    EXPECT_EQ(SLOT(IColorManager, finishSave, void()), kFirstOwn + 8);
}

TEST(InterfaceLayout, IWidgetManagerHasItsFurtherSlotBetweenTimeAndBypass)
{
    EXPECT_EQ(SLOT(IWidgetManager, refreshSettings, void()), kFirstOwn + 0);
    EXPECT_EQ(SLOT(IWidgetManager, setPowerSaverTime, void(int, int)), kFirstOwn + 1);
    EXPECT_EQ(SLOT(IWidgetManager, widgetManagerReserved, void()), kFirstOwn + 2);
    EXPECT_EQ(SLOT(IWidgetManager, setPowerSaverBypass, void(int, bool)), kFirstOwn + 3);
    EXPECT_EQ(SLOT(IWidgetManager, setPowerSaverType, void(int, int)), kFirstOwn + 4);
    EXPECT_EQ(SLOT(IWidgetManager, reloadOLEDBitmaps, void()), kFirstOwn + 5);
}

TEST(InterfaceLayout, IWidgetControlIPanelEventIPSPublisher)
{
    EXPECT_EQ(SLOT(IWidgetControl, getAttribute, std::string(const UniqueWidgetID&, Text)), kFirstOwn + 0);
    EXPECT_EQ(SLOT(IWidgetControl, setAttribute, void(Text, const UniqueWidgetID&, Text, Text)), kFirstOwn + 1);
    EXPECT_EQ(SLOT(IWidgetControl, clearAttribute, void(Text, const UniqueWidgetID&, Text)), kFirstOwn + 2);
    EXPECT_EQ(SLOT(IPanelEvent, notifyEvent, void(const UniqueWidgetID&, Text)), kFirstOwn + 0);
    using Handle = std::shared_ptr<PDLStateSubscriber>;
    EXPECT_EQ(SLOT(IPSPublisher, subscribe, void(Text, Handle)), kFirstOwn + 0);
    EXPECT_EQ(SLOT(IPSPublisher, unsubscribe, void(Text, Handle)), kFirstOwn + 1);
    EXPECT_EQ(SLOT(IPSPublisher, getValue, std::string(Text)), kFirstOwn + 2);
}

TEST(InterfaceLayout, II2C)
{
    EXPECT_EQ(SLOT(II2C, write, bool(Text, int, int, const unsigned char*, int)), kFirstOwn + 0);
    EXPECT_EQ(SLOT(II2C, read, bool(Text, int, int, unsigned char*, int, int)), kFirstOwn + 1);
}

TEST(InterfaceLayout, ToolkitBases)
{
    EXPECT_EQ(SLOT(oskit::Module, queryInterface, IInterface*(unsigned int)), 2);
    EXPECT_EQ(SLOT(oskit::Module, onLoad, void()), 3);
    EXPECT_EQ(SLOT(oskit::Module, onUnload, void()), 4);
}
