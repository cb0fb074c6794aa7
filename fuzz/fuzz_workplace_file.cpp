// Feeds the input as the workplace file of a panel start: the file is read
// into the workplace tables and published, then written back to the
// configuration directory (signed) and that file read again.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include "fidmaphandler.h"
#include "mfdconfighandler.h"
#include "oskit/CmdProcessor.h"
#include "oskit/LogBackend.h"
#include "oskit/LogManager.h"
#include "panelmfd.h"
#include "panelmfd/host.h"

namespace {

// Takes every publication and keeps nothing: the key building is what runs.
class SilentPanelState : public IPanelState {
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void setStateValue(const std::string&, const std::string&) override {}
    void setStateValueFloat(const std::string&, float) override {}
    void setStateValueInt(const std::string&, int) override {}
    void setStateValueBool(const std::string&, bool) override {}
    void unsetStateValue(const std::string&) override {}
    void triggerEvent(const std::string&, const std::string&) override {}
};

// A run directory on a memory file system where there is one, with the
// host's file and the configuration directory.
struct RunDirectory {
    std::filesystem::path path;
    RunDirectory()
    {
        const std::filesystem::path base =
            std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
        std::string templ = (base / "workplace-fuzz-XXXXXX").string();
        if (!::mkdtemp(templ.data())) std::abort();
        path = templ;
        std::filesystem::create_directories(path / "host");
        std::filesystem::create_directories(path / "config");
    }
    ~RunDirectory()
    {
        std::error_code error;
        std::filesystem::remove_all(path, error);
    }
};

struct Panel {
    RunDirectory dir;
    SilentPanelState state;
    PanelMFD* mfd = nullptr;

    Panel()
    {
        oskit::CmdProcessor::createInstance();
        oskit::LogManager::createInstance();
        oskit::logbackend::useNone();
        mfd = new PanelMFD();
        mfd->getConfigHandler()->setPanelStateInterface(&state);
        mfd->getConfigHandler()->setConfiguration(0, "PANEL", (dir.path / "nvram").string(), "", "", "",
                                                  (dir.path / "config").string());
    }
    ~Panel() { delete mfd; }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Panel panel;
    const std::filesystem::path input = panel.dir.path / "host" / "Workplaces.xml";
    {
        std::ofstream out(input, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }

    panel.mfd->setWorkplaceConfigFilename(input.string());
    panel.mfd->readWorkplaceConfig();
    panel.mfd->driveWorkplaceState();

    // Written back, and what was written read again.
    if (panel.mfd->updateWorkplaceFile()) {
        panel.mfd->readWorkplaceConfig();
        panel.mfd->driveWorkplaceState();
    }
    return 0;
}
