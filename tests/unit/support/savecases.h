#pragma once

// Every whole-file writer of the module as one case each: the rig that owns
// the file, a first save that leaves a good file, a change whose save rewrites
// it, and the line the owner logs or prints when that save fails. Used by the
// tests that make each step of a write fail and by the full-disk tests.

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "panelsys/WholeFileWriter.h"
#include "pmemstoragetext.h"
#include "pmemstoragexml.h"
#include "support/logcapture.h"
#include "support/panelmfdharness.h"
#include "support/settingsrig.h"
#include "test_macro_rig.h"

namespace savecases {

using EStep = WholeFileWriter::EStep;

// Where the owner reports a failed save.
enum class EOutput { kLog, kStdout };

struct CaseInfo {
    const char* name;
    bool isSigned;   // signed in the temporary file
    bool isDocument; // printed from a TinyXML document
    bool isXml;      // passes the input pre-check before it is written
};

inline const std::vector<CaseInfo>& allCases()
{
    static const std::vector<CaseInfo> cases = {
        {"MacroRename", true, true, true},      {"MacroRecording", true, true, true},
        {"Attachments", true, false, true},     {"WorkplaceFile", true, true, true},
        {"PanelSettings", false, true, true},   {"PmemTextRegister", false, false, false},
        {"PmemXmlRegister", false, true, true}, {"PmemXmlRecreatedRegister", false, true, true},
    };
    return cases;
}

// The steps a write of this case takes.
inline std::vector<EStep> stepsOf(const CaseInfo& info)
{
    std::vector<EStep> steps;
    if (info.isDocument) steps.push_back(EStep::kPrint);
    if (info.isXml) steps.push_back(EStep::kCheck);
    for (EStep step : {EStep::kCreate, EStep::kWrite, EStep::kSync, EStep::kClose}) steps.push_back(step);
    if (info.isSigned) {
        steps.push_back(EStep::kSign);
        steps.push_back(EStep::kVerify);
    }
    steps.push_back(EStep::kRename);
    steps.push_back(EStep::kSyncDirectory);
    return steps;
}

inline std::string bytesOf(const std::filesystem::path& path) { return macrotest::readText(path); }

class SaveCase {
public:
    virtual ~SaveCase() = default;
    // Builds the owner in a fresh directory under the temporary folder and
    // saves the first version of the file.
    virtual void prepare() = 0;
    // Changes what the owner holds and has it save the file again.
    virtual void change() = 0;
    virtual std::filesystem::path target() const = 0;
    virtual std::string failureLine() const = 0;
    virtual EOutput output() const = 0;
    // The captured log lines, for owners that log.
    virtual std::vector<std::string> logLines() const { return {}; }
};

// ---- macros ----------------------------------------------------------------------------------

class MacroCase : public SaveCase {
public:
    explicit MacroCase(bool rename) : m_rename(rename) {}
    void prepare() override
    {
        rig.make(0);
        rig.recordMacro(kRegister, {{"PANEL.SETTINGS.COLOR.MACRO.SET", macrotest::params({{"VAL", "RED"}})}});
    }
    void change() override
    {
        if (m_rename) {
            EXPECT_TRUE(rig.fid("MACRO0.NAME.SET", {{"REG", std::to_string(kRegister)}, {"NAME", "Renamed"}}));
        } else {
            rig.recordMacro(kRegister, {{"PANEL.SETTINGS.COLOR.MACRO.SET", macrotest::params({{"VAL", "GREEN"}})},
                                        {"PANEL.SETTINGS.COLOR.PMEM.SET", macrotest::params({{"VAL", "BLUE"}})}});
        }
    }
    std::filesystem::path target() const override { return rig.macroFile(kRegister); }
    std::string failureLine() const override
    {
        return "ERROR Macro: Failed to save macro file " + rig.recorder->getMacroFilePath(kRegister).getPath();
    }
    EOutput output() const override { return EOutput::kLog; }
    std::vector<std::string> logLines() const override { return rig.log.lines(); }

    static constexpr int kRegister = 7;
    macrotest::MacroRig rig;

private:
    bool m_rename;
};

// ---- attach.xml ------------------------------------------------------------------------------

class AttachmentsCase : public SaveCase {
public:
    ~AttachmentsCase() override { rig.recorder.reset(); }
    void prepare() override
    {
        rig.make(0).setWidgetControlInterface(&control);
        EXPECT_TRUE(attach(UniqueWidgetID(0, 1, 2, 3), "PRE", 5));
    }
    void change() override { attach(UniqueWidgetID(0, 1, 2, 4), "POST", 6); }
    std::filesystem::path target() const override { return rig.macroDir(0) / "attach.xml"; }
    std::string failureLine() const override
    {
        return "ERROR Macro: Failed to save macro attachments file " +
               (std::filesystem::canonical(rig.macroDir(0)) / "attach.xml").string();
    }
    EOutput output() const override { return EOutput::kLog; }
    std::vector<std::string> logLines() const override { return rig.log.lines(); }

    RecordingWidgetControl control;
    macrotest::MacroRig rig;

private:
    bool attach(const UniqueWidgetID& w, const std::string& type, int reg)
    {
        return rig.fid("MACRO0.ATTACH", {{"WORKPLACE", std::to_string(w.getWorkplaceID())},
                                         {"GROUP", std::to_string(w.getGroupID())},
                                         {"MODULE", std::to_string(w.getModuleID())},
                                         {"WIDGET", std::to_string(w.getWidgetID())},
                                         {"TYPE", type},
                                         {"REG", std::to_string(reg)}});
    }
};

// ---- the workplace file ----------------------------------------------------------------------

class WorkplaceCase : public SaveCase {
public:
    // The run directory is the working directory, where the brightness exchange file goes.
    WorkplaceCase() : m_oldDir(std::filesystem::current_path())
    {
        std::filesystem::create_directories(h.dir.path() / "data" / "PANEL");
        std::filesystem::current_path(h.dir.path());
    }
    ~WorkplaceCase() override
    {
        h.mfd.reset();
        std::filesystem::current_path(m_oldDir);
    }
    void prepare() override
    {
        h.start((h.configDir() / "Workplaces.xml").string());
        EXPECT_TRUE(h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "0"}, {"PORT", "1"}}));
    }
    void change() override { h.fid("PORT.CONFIG.ASSIGN_WP", {{"WPID", "1"}, {"PORT", "2"}}); }
    std::filesystem::path target() const override { return h.savedFile(); }
    std::string failureLine() const override
    {
        return "ERROR PanelDriver: Failed to save workplace file " + target().string();
    }
    EOutput output() const override { return EOutput::kLog; }
    std::vector<std::string> logLines() const override { return log.lines(); }

    std::filesystem::path m_oldDir;
    LogCapture log;
    PanelMFDHarness h;
};

// ---- PanelSettings.xml -----------------------------------------------------------------------

class SettingsCase : public SaveCase {
public:
    // The run directory is the working directory, where the brightness exchange file goes.
    SettingsCase() : m_oldDir(std::filesystem::current_path())
    {
        testenv::ensurePlatformSingletons();
        std::filesystem::create_directories(dir.path() / "nvram" / "PANEL");
        std::filesystem::create_directories(dir.path() / "data" / "PANEL");
        std::filesystem::current_path(dir.path());
    }
    ~SettingsCase() override
    {
        start.reset();
        std::filesystem::current_path(m_oldDir);
    }
    void prepare() override
    {
        start = std::make_unique<settingsrig::Start>((dir.path() / "nvram" / "PANEL").string(), false);
        EXPECT_TRUE(start->fid("SETTINGS.COLOR.MACRO.SET", {{"VAL", "RED"}, {"WP", "2"}}));
        start->settings->onSaveTimerEllapsed();
    }
    void change() override
    {
        start->fid("SETTINGS.COLOR.PMEM.SET", {{"VAL", "BLUE"}, {"WP", "3"}});
        start->settings->onSaveTimerEllapsed();
    }
    std::filesystem::path target() const override { return dir.path() / "nvram" / "PANEL" / "PanelSettings.xml"; }
    std::string failureLine() const override { return "PS: File did NOT save: " + target().string(); }
    EOutput output() const override { return EOutput::kStdout; }

    std::filesystem::path m_oldDir;
    testenv::TempDir dir;
    std::unique_ptr<settingsrig::Start> start;
};

// ---- panel memory registers ------------------------------------------------------------------

inline std::filesystem::path registerFile(const testenv::TempDir& dir, int wp, int reg)
{
    return dir.path() / "pmem" / ("workplace" + std::to_string(wp)) / (std::to_string(reg) + ".pmem");
}

inline std::string pmemFailureLine(const std::filesystem::path& path)
{
    return "PMEM Error! Can't save file \"" + path.string() + "\"";
}

class PmemTextCase : public SaveCase {
public:
    void prepare() override
    {
        ASSERT_TRUE(storage.loadRegister(1, 5, 0));
        storage.setRegisterValue("KEY1", "first");
        ASSERT_TRUE(storage.setRegisterName("Scene"));
        ASSERT_TRUE(storage.saveRegister(2));
    }
    void change() override
    {
        storage.setRegisterValue("KEY2", "second");
        storage.saveRegister(2);
    }
    std::filesystem::path target() const override { return registerFile(dir, 1, 5); }
    std::string failureLine() const override { return pmemFailureLine(target()); }
    EOutput output() const override { return EOutput::kStdout; }

    testenv::TempDir dir;
    PmemStorageText storage{dir.str()};
};

class PmemXmlCase : public SaveCase {
public:
    void prepare() override
    {
        ASSERT_TRUE(storage.loadRegister(1, 5, 0));
        storage.setRegisterValue("KEY1", "first");
        ASSERT_TRUE(storage.saveRegister(0));
    }
    void change() override
    {
        storage.setRegisterValue("KEY2", "second");
        storage.saveRegister(0);
    }
    std::filesystem::path target() const override { return registerFile(dir, 1, 5); }
    std::string failureLine() const override { return pmemFailureLine(target()); }
    EOutput output() const override { return EOutput::kStdout; }

    testenv::TempDir dir;
    PmemStorageXml storage{dir.str()};
};

// A damaged register file is made anew as an empty register when it is loaded.
class PmemXmlRecreatedCase : public PmemXmlCase {
public:
    void prepare() override { testenv::writeFile(target(), "<register name=\"\"><data name=\"K\" value="); }
    void change() override { storage.loadRegister(1, 5, 0); }
};

inline std::unique_ptr<SaveCase> makeCase(const std::string& name)
{
    if (name == "MacroRename") return std::make_unique<MacroCase>(true);
    if (name == "MacroRecording") return std::make_unique<MacroCase>(false);
    if (name == "Attachments") return std::make_unique<AttachmentsCase>();
    if (name == "WorkplaceFile") return std::make_unique<WorkplaceCase>();
    if (name == "PanelSettings") return std::make_unique<SettingsCase>();
    if (name == "PmemTextRegister") return std::make_unique<PmemTextCase>();
    if (name == "PmemXmlRegister") return std::make_unique<PmemXmlCase>();
    if (name == "PmemXmlRecreatedRegister") return std::make_unique<PmemXmlRecreatedCase>();
    ADD_FAILURE() << "no save case " << name;
    return nullptr;
}

// The names in the target's folder that a write left behind beside it.
inline std::vector<std::string> leftovers(const std::filesystem::path& target)
{
    std::vector<std::string> names;
    std::error_code ec;
    const std::string stem = target.filename().string() + ".";
    for (const auto& entry : std::filesystem::directory_iterator(target.parent_path(), ec)) {
        const std::string name = entry.path().filename().string();
        if (name.compare(0, stem.size(), stem) == 0) names.push_back(name);
    }
    return names;
}

// Whether the owner reported the failure: the line among the captured log
// lines or the printed output.
inline bool reported(const SaveCase& c, const std::string& printed)
{
    const std::string line = c.failureLine();
    if (c.output() == EOutput::kStdout) return printed.find(line + "\n") != std::string::npos;
    for (const std::string& logged : c.logLines())
        if (logged == line) return true;
    return false;
}

} // namespace savecases
