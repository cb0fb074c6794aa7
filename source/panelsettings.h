#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include <tinyxml.h>

#include "oskit/Timer.h"
#include "panelkit/FIDParameter.h"
#include "panelkit/FunctionID.h"
#include "panelmfd/IPanelSettings.h"

class FIDMapHandler;
class MFDConfigHandler;
class PanelBrightnessObserver;
class SignalingEvent;

// The panel's persistent settings. Every setting is a FID: a handler that
// accepts a change publishes it, tells the widget manager where needed and
// records the FID's parameters in PanelSettings.xml; a start replays the file.
class PanelSettings : public IPanelSettings {
    friend class PanelBrightnessObserver;

public:
    // The exchange file of workplace 1's brightness, shared with outside programs.
    static constexpr char SETTINGS_FILE_NAME[] = "brightnessSettings.txt";

    PanelSettings(FIDMapHandler* mapHandler, MFDConfigHandler* configHandler);
    ~PanelSettings() override;
    PanelSettings(const PanelSettings&) = delete;
    PanelSettings& operator=(const PanelSettings&) = delete;

    IInterface* queryInterface(unsigned int id) override;
    uint16_t getBrightnessButtonLow(int workplace) override;
    uint16_t getBrightnessButtonHi(int workplace) override;
    uint16_t getBrightnessDisplayText(int workplace) override;
    uint16_t getBrightnessDisplayOled(int workplace) override;
    uint16_t getBrightnessDisplayTft(int workplace) override;
    uint16_t getJoystickSensitivity(int workplace) override;
    bool getOLEDFontsResizable(int workplace) override;
    int32_t getOLEDMode(int workplace) override;
    bool isOLEDOutlineEnabled(int workplace) override;
    uint16_t getLeverArmTestStepSize(int workplace) override;
    uint16_t getLeverArmTestStepCount(int workplace) override;
    void setWidgetManagerInterface(IWidgetManager* manager) override;

    // Publishes the defaults, registers the settings FIDs, replays the stored
    // ones, rewrites the exchange file and starts the brightness observer.
    void init();

    // Loads PanelSettings.xml and sends each stored FID to the map handler.
    bool load(const std::string& path);
    // Records an accepted FID in the document and arms the deferred save.
    bool saveFidToFile(const FunctionID& name, const FIDParameterList* params);
    // Arms (or re-arms) the one-second deferred save.
    void virtualSave();
    // Writes the document to PanelSettings.xml.
    void onSaveTimerEllapsed();
    // Writes workplace 1's five brightness values to the exchange file.
    bool saveBrightnessSettingsToFile();

    // The exchange file: the working directory, "data/PANEL", SETTINGS_FILE_NAME.
    static std::string brightnessExchangePath();
    // PanelSettings.xml in the panel data directory.
    std::string settingsFilePath() const;

protected:
    // Creates and starts the brightness observer task (last step of init),
    // unless a test or fuzz target cleared m_observerWanted to drive the polls
    // itself. Not virtual: the object has exactly the operations of its table.
    void startBrightnessObserver();
    bool m_observerWanted = true;

private:
    // The five brightness arrays, one block of eight entries each in this
    // order. They are indexed by the workplace minus 1, so that workplace 0
    // of one array is the last entry of the array before it.
    enum EBrightness {
        BRIGHTNESS_BUTTON_LOW = 0,
        BRIGHTNESS_BUTTON_HI,
        BRIGHTNESS_DISPLAY_TEXT,
        BRIGHTNESS_DISPLAY_OLED,
        BRIGHTNESS_DISPLAY_TFT,
        BRIGHTNESS_COUNT
    };
    static constexpr int kWorkplaces = 8;

    struct BrightnessRule {
        const char* suffix;  // state key suffix
        const char* setFid;  // the Set FID, under which an Inc is stored
        uint16_t defaultValue;
        unsigned floor;      // lowest accepted value
        bool setTestsWorkplace;
    };
    static const BrightnessRule s_brightnessRules[BRIGHTNESS_COUNT];

    // Brightness handlers.
    bool onFIDBrightnessDisplayTftSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDBrightnessDisplayOledSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDBrightnessDisplayTextSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDBrightnessButtonLowSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDBrightnessButtonHiSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDBrightnessDisplayTftInc(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDBrightnessDisplayOledInc(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDBrightnessDisplayTextInc(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDBrightnessButtonLowInc(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDBrightnessButtonHiInc(const FunctionID& name, const FIDParameterList* paraList);
    bool brightnessSet(EBrightness which, const FunctionID& name, const FIDParameterList* paraList);
    bool brightnessInc(EBrightness which, const FIDParameterList* paraList);

    // Other handlers.
    bool onFIDPowerSaverEnableBypass(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDPowerSaverSetTime(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDPowerSaverSetType(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDJoystickSensitivitySet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDJoystickSensitivityInc(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDOLEDFontResizeSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDOLEDModeSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDOLEDOutlineEnable(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDLatchmodeSetType(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDHiddenSourceBlinkingSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDColorMacroSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDColorPmemSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDLeverArmTestStepSizeSet(const FunctionID& name, const FIDParameterList* paraList);
    bool onFIDLeverArmTestStepCountSet(const FunctionID& name, const FIDParameterList* paraList);
    bool textStateSet(const char* valueName, const char* suffix, const char* const* accepted,
                      const FunctionID& name, const FIDParameterList* paraList);
    bool leverArmSet(std::array<std::atomic<uint16_t>, kWorkplaces>& field, const char* suffix,
                     const FunctionID& name, const FIDParameterList* paraList);

    // Every settings FID enters here: one whose parameters PanelSettings.xml
    // could not keep is refused before its handler changes anything.
    using Handler = bool (PanelSettings::*)(const FunctionID&, const FIDParameterList*);
    template <Handler handler>
    bool onFIDChecked(const FunctionID& name, const FIDParameterList* paraList);

    void registerFunctions();
    void publishDefaults(int workplace);
    void fillDefaults(int workplace);

    // Block access by the workplace minus 1. An index outside the block reads
    // as the array's default, and a write there is dropped.
    uint16_t brightnessEntry(EBrightness which, int workplace) const;
    void setBrightnessEntry(EBrightness which, int workplace, uint16_t value);
    static std::string stateKey(int workplace, const char* suffix);
    // An integer parameter, read as FIDParameterList reads it, except that a
    // number beyond an int is told apart instead of reading as 0.
    enum class ENumber { MISSING, VALID, OUT_OF_RANGE };
    static ENumber readInteger(const FIDParameterList* list, const char* name, int& value);
    static bool readText(const FIDParameterList* list, const char* name, std::string& text);
    void requireWidgetManager() const;
    bool loadDocument(const std::string& path);
    bool writeDocument();

    TiXmlDocument m_document;
    std::array<std::atomic<uint16_t>, BRIGHTNESS_COUNT * kWorkplaces> m_brightness;
    std::array<std::atomic<uint16_t>, kWorkplaces> m_joystickSensitivity;
    std::array<std::atomic<bool>, kWorkplaces> m_oledOutlineEnabled;
    std::array<std::atomic<bool>, kWorkplaces> m_oledFontsResizable;
    std::array<std::atomic<int32_t>, kWorkplaces> m_oledMode;
    std::array<std::atomic<uint16_t>, kWorkplaces> m_leverArmTestStepSize;
    std::array<std::atomic<uint16_t>, kWorkplaces> m_leverArmTestStepCount;
    FIDMapHandler* m_pMapHandler;
    MFDConfigHandler* m_pConfigHandler;
    IWidgetManager* m_pIWidgetManager = nullptr;
    std::atomic<bool> m_isLoading{true};

    // Guards m_document and m_savePending (FID, observer and timer threads).
    std::mutex m_documentLock;
    bool m_savePending = false;
    // Keeps two writers of the exchange file from overtaking each other.
    std::mutex m_exchangeFileLock;
    // Guarded by m_exchangeFileLock: the last write found no regular file at the path.
    bool m_exchangeFileRefused = false;

    oskit::Timer m_saveTimer;
    PanelBrightnessObserver* m_pBrightnessObserver = nullptr;
    // The task's thread signals its start on this event; it lives as long as the task.
    std::unique_ptr<SignalingEvent> m_pObserverStarted;
};
