#pragma once

#include "panelkit/Assert.h"

namespace oskit {

// A process-wide singleton that lives in a shared library, so host and module
// see one object. The host creates it before it loads a module.
template <class T>
class SingletonDll {
public:
    static T* getInstance()
    {
        PANEL_ASSERT(s_pInstance, "s_pInstance");
        return s_pInstance;
    }
    static bool hasInstance() { return s_pInstance != nullptr; }
    static void createInstance()
    {
        if (!s_pInstance) s_pInstance = new T();
    }
    static void destroyInstance()
    {
        delete s_pInstance;
        s_pInstance = nullptr;
    }

protected:
    SingletonDll() = default;
    ~SingletonDll() = default;

private:
    static T* s_pInstance;
};

} // namespace oskit
