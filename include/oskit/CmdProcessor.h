#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "oskit/SingletonDll.h"
#include "panelkit/Export.h"

namespace oskit {

// The arguments of a console command, from index 0 (the command name excluded).
class PANEL_API CmdParameters {
public:
    CmdParameters() = default;
    explicit CmdParameters(std::vector<std::string> arguments) : m_arguments(std::move(arguments)) {}
    int argumentCount() const { return static_cast<int>(m_arguments.size()); }
    // The argument text; empty past the last one.
    std::string argument(unsigned index) const;

private:
    std::vector<std::string> m_arguments;
};

// A console command record.
class PANEL_API CmdRegister {
public:
    CmdRegister(std::string name, std::string help) : m_name(std::move(name)), m_help(std::move(help)) {}
    virtual ~CmdRegister();
    virtual bool call(CmdParameters& parameters) = 0;
    // The object the command is bound to, for unregistration.
    virtual const void* owner() const = 0;
    const std::string& getName() const { return m_name; }
    const std::string& getHelp() const { return m_help; }

private:
    std::string m_name;
    std::string m_help;
};

template <class T>
class CmdRegisterImpl : public CmdRegister {
public:
    CmdRegisterImpl(const std::string& name, const std::string& help, T* object, bool (T::*function)(CmdParameters&))
        : CmdRegister(name, help), m_object(object), m_function(function)
    {
    }
    bool call(CmdParameters& parameters) override { return (m_object->*m_function)(parameters); }
    const void* owner() const override { return m_object; }

private:
    T* m_object;
    bool (T::*m_function)(CmdParameters&);
};

// The console's command table. A later registration of a name replaces the earlier.
class PANEL_API CmdProcessor : public SingletonDll<CmdProcessor> {
public:
    // Takes ownership of the record.
    void registerCmd(CmdRegister* record);
    // Removes (and deletes) every command bound to this object.
    void unregisterObject(const void* object);
    // Runs a command line: the first word names the command, the rest are its
    // arguments (blank-separated; double quotes group). Answers false for an
    // unknown command (with "Unknown command: NAME" on standard output) or the
    // command's own result.
    bool execute(const std::string& line);
    std::vector<std::string> commandNames() const;
    std::string help(const std::string& name) const;

private:
    friend class SingletonDll<CmdProcessor>;
    CmdProcessor();
    ~CmdProcessor();
    // Recursive: a command may run or register commands itself. Held while a
    // command runs, so unregisterObject waits for a command of that object.
    mutable std::recursive_mutex m_mutex;
    std::map<std::string, std::unique_ptr<CmdRegister>> m_commands;
};

} // namespace oskit

namespace oskit {
// The one instance, kept in liboskit.
template <>
PANEL_API CmdProcessor* SingletonDll<CmdProcessor>::s_pInstance;
} // namespace oskit
