// Feeds the input as a workplace's attach.xml: a recorder loads it (with a
// driver on the buttons' module, attachments active and a widget control, so
// that every loaded button is painted), saves what it took, and loads that again.
//
//   CXX=clang++ cmake -S . -B build/fuzz -DPANELMFD_BUILD_FUZZ=ON \
//       -DPANELMFD_SANITIZE=address,undefined && cmake --build build/fuzz --target fuzz_attach_file
//   build/fuzz/bin/fuzz_attach_file fuzz/corpus/attach_file -runs=20000

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "fidmaphandler.h"
#include "macrorecorder.h"
#include "mfdconfighandler.h"
#include "oskit/CmdProcessor.h"
#include "oskit/LogBackend.h"
#include "oskit/LogManager.h"

namespace {

class QuietWidgetControl : public IWidgetControl {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    std::string getAttribute(const UniqueWidgetID&, const std::string&) override { return "HALF"; }
    void setAttribute(const std::string&, const UniqueWidgetID&, const std::string&, const std::string&) override {}
    void clearAttribute(const std::string&, const UniqueWidgetID&, const std::string&) override {}
};

// A run directory (on the memory file system where there is one) that is the
// working directory, since a recorder finds its folder from there.
struct AttachRig {
    AttachRig()
    {
        const std::filesystem::path base =
            std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
        std::string templ = (base / "attach-file-fuzz-XXXXXX").string();
        if (!::mkdtemp(templ.data())) std::abort();
        dir = templ;
        std::filesystem::current_path(dir);

        oskit::CmdProcessor::createInstance();
        oskit::LogManager::createInstance();
        oskit::logbackend::useNone();
        config.m_statePrefix = "PANEL";
        config.m_dataDirectory = (dir / "nvram" / "PANEL").string();
        renew();
    }
    // A fresh recorder: button entries stay for a recorder's life, so a long
    // run would otherwise pile up every id it ever read.
    void renew()
    {
        recorder.reset();
        recorder = std::make_unique<MacroRecorder>(0, &map, &config);
        recorder->setWidgetControlInterface(&control);

        FIDParameterList driver;
        driver.add("ID", "MFD1");
        driver.sourceWidget = UniqueWidgetID(0, 1, 2, 0);
        map.sendFID("MACRO0.MFDID.SET", driver);
        FIDParameterList active;
        active.add("VALUE", "ON");
        map.sendFID("MACRO0.ATTACHMENTS.ACTIVE.SET", active);
        FIDParameterList view;
        view.add("SHOW", "ON");
        map.sendFID("MACRO0.ATTACH.VIEW.SET", view);
        file = recorder->getPath().getPath() + "/attach.xml";
    }
    ~AttachRig()
    {
        recorder.reset();
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    }
    AttachRig(const AttachRig&) = delete;
    AttachRig& operator=(const AttachRig&) = delete;

    std::filesystem::path dir;
    MFDConfigHandler config;
    FIDMapHandler map;
    QuietWidgetControl control;
    std::unique_ptr<MacroRecorder> recorder;
    std::string file;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static AttachRig rig;
    static unsigned runs = 0;
    if (++runs % 2000 == 0) rig.renew();

    std::FILE* out = std::fopen(rig.file.c_str(), "wb");
    if (!out) std::abort();
    if (size) std::fwrite(data, 1, size, out);
    std::fclose(out);

    rig.recorder->loadAttachments();
    rig.recorder->saveAttachments();
    rig.recorder->loadAttachments();
    return 0;
}
