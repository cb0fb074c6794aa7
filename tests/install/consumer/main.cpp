// Loads the installed module and asks for its configuration interface.
#include <dlfcn.h>

#include <cstdio>

#include "oskit/CmdProcessor.h"
#include "oskit/LogManager.h"
#include "panelmfd/host.h"

int main()
{
    oskit::CmdProcessor::createInstance();
    oskit::LogManager::createInstance();
    void* handle = dlopen(PANELMFD_MODULE, RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        std::printf("cannot load %s: %s\n", PANELMFD_MODULE, dlerror());
        return 1;
    }
    auto create = reinterpret_cast<OnCreateModuleFunction>(dlsym(handle, "onCreateModule"));
    oskit::Module* module = create ? create() : nullptr;
    auto* config = module ? dynamic_cast<IMFDConfiguration*>(module->queryInterface(1201)) : nullptr;
    std::printf("IMFDConfiguration %s\n", config ? "present" : "missing");
    delete module;
    dlclose(handle);
    return config ? 0 : 1;
}
