// Feeds the input as PanelSettings.xml to a settings start: the file is
// loaded, every stored FID replayed through its handler, then one change is
// made and the document written back on the way down.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include "fidmaphandler.h"
#include "mfdconfighandler.h"
#include "panelmfd/host.h"
#include "panelsettings.h"
#include "settingsfuzz.h"


extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static settingsfuzz::RunDirectory run("panelsettings-fuzz");
    static settingsfuzz::SilentWidgetManager widgets;
    const std::filesystem::path dataDirectory = run.path / "nvram";
    {
        std::ofstream out(dataDirectory / "PanelSettings.xml", std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }

    FIDMapHandler map;
    MFDConfigHandler config;
    config.m_dataDirectory = dataDirectory.string();
    {
        settingsfuzz::QuietSettings settings(&map, &config);
        settings.setWidgetManagerInterface(&widgets);
        settings.init();
        FIDParameterList change;
        change.add("VAL", "FUZZ");
        change.add("WP", "1");
        map.sendFID("SETTINGS.COLOR.MACRO.SET", change);
    }
    return 0;
}
