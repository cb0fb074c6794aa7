#pragma once

#include <atomic>
#include <list>
#include <map>
#include <mutex>
#include <string>

#include "oskit/InputFile.h"
#include "panelkit/FIDHelper.h"
#include "panelkit/FIDParameter.h"
#include "panelkit/FunctionID.h"
#include "panelmfd/HostInterfaces.h"
#include "panelmfd/IFunctionID.h"

// One exact-name entry of the registry.
class StaticFIDFunctionBase {
public:
    virtual ~StaticFIDFunctionBase() = default;
    virtual bool call(const FunctionID& name, const FIDParameterList* params) = 0;
};

template <class T>
class StaticFIDFunctionImpl : public StaticFIDFunctionBase {
public:
    using Handler = bool (T::*)(const FunctionID&, const FIDParameterList*);
    StaticFIDFunctionImpl(T* object, Handler handler) : m_pObject(object), m_handler(handler) {}
    bool call(const FunctionID& name, const FIDParameterList* params) override
    {
        return (m_pObject->*m_handler)(name, params);
    }
    T* getObject() const { return m_pObject; }

private:
    T* m_pObject;
    Handler m_handler;
};

// One pattern entry of the registry.
class ParamFIDFunctionBase {
public:
    virtual ~ParamFIDFunctionBase() = default;
    virtual bool call(const FunctionID& name, const FIDParameterList* params, const FIDPatternList& captures) = 0;
    virtual FunctionID getParameterizedFID() const = 0;
};

template <class T>
class ParamFIDFunctionImpl : public ParamFIDFunctionBase {
public:
    using Handler = bool (T::*)(const FunctionID&, const FIDParameterList*, const FIDPatternList&);
    ParamFIDFunctionImpl(const FunctionID& pattern, T* object, Handler handler)
        : m_pattern(pattern), m_pObject(object), m_handler(handler)
    {
    }
    bool call(const FunctionID& name, const FIDParameterList* params, const FIDPatternList& captures) override
    {
        return (m_pObject->*m_handler)(name, params, captures);
    }
    FunctionID getParameterizedFID() const override { return m_pattern; }
    T* getObject() const { return m_pObject; }

private:
    FunctionID m_pattern;
    T* m_pObject;
    Handler m_handler;
};

// The module's one registry of FID handlers and its one way out to the host's
// state table and FID distributor.
//
// Locking: m_lock guards the two tables and the retired lists. Handlers run on
// the host's FID thread and on the macro play threads while a new recorder
// registers its names, so every look-up and change takes it; a handler is
// called, and the host is reached, without it. Entries are never freed while
// the registry lives (unlinked ones are retired), so a handler found under the
// lock stays callable after it is released. The host pointers are atomics,
// since background threads publish state.
class FIDMapHandler : public IFunctionID {
public:
    FIDMapHandler();
    ~FIDMapHandler() override;
    FIDMapHandler(const FIDMapHandler&) = delete;
    FIDMapHandler& operator=(const FIDMapHandler&) = delete;

    // IInterface / IFunctionID
    IInterface* queryInterface(unsigned int id) override;
    void sendFID(const FunctionID& name, const FIDParameterList& params) const override;
    void subscribe(const FunctionID& name) const override;
    void showState() const override;

    // First registration of a name wins; a second answers false.
    template <class T>
    bool registerFunction(const FunctionID& name, T* object, bool (T::*handler)(const FunctionID&, const FIDParameterList*))
    {
        std::lock_guard<std::mutex> guard(m_lock);
        if (m_staticMap.find(name) != m_staticMap.end()) return false;
        m_staticMap.emplace(name, new StaticFIDFunctionImpl<T>(object, handler));
        return true;
    }

    // Appends a pattern entry ("MEMORY.SAVE_VAR.*"); duplicates are not checked.
    template <class T>
    void registerParamFunction(const FunctionID& pattern, T* object,
                               bool (T::*handler)(const FunctionID&, const FIDParameterList*, const FIDPatternList&))
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_paramList.push_back(new ParamFIDFunctionImpl<T>(pattern, object, handler));
    }

    // Unlinks the exact entry of this name (freed with the registry); false when
    // absent. Patterns are not searched.
    bool unregisterFunction(const FunctionID& name);

    // Unlinks every entry bound to this object. The function objects are not
    // deleted here: they are retired and freed with the registry.
    template <class T>
    void unregisterObject(T* object)
    {
        std::lock_guard<std::mutex> guard(m_lock);
        for (auto it = m_staticMap.begin(); it != m_staticMap.end();) {
            auto* impl = dynamic_cast<StaticFIDFunctionImpl<T>*>(it->second);
            if (impl && impl->getObject() == object) {
                m_retiredStatic.push_back(it->second);
                it = m_staticMap.erase(it);
            } else {
                ++it;
            }
        }
        for (auto it = m_paramList.begin(); it != m_paramList.end();) {
            auto* impl = dynamic_cast<ParamFIDFunctionImpl<T>*>(*it);
            if (impl && impl->getObject() == object) {
                m_retiredParam.push_back(*it);
                it = m_paramList.erase(it);
            } else {
                ++it;
            }
        }
    }

    StaticFIDFunctionBase* findStaticFIDFunction(const FunctionID& name) const;
    ParamFIDFunctionBase* findParamFIDFunction(const FunctionID& name, FIDParameterList& captures) const;

    // Whether a FID's name and every parameter name and value can be kept in an
    // XML file that the next load takes (oskit::InputFile::checkText on each):
    // RESULT_OK, or what refuses the first text that can't. No list is no text.
    static oskit::InputFile::EResult checkStorableText(const FunctionID& name, const FIDParameterList* params);

    // The registered exact names, in map order (for consoles and completion).
    std::list<FunctionID> registeredNames() const;

    // Way out to the host; each is a no-op while its interface is missing.
    void setStateValue(const std::string& key, const std::string& value) const;
    void setStateValueFloat(const std::string& key, float value) const;
    void setStateValueInt(const std::string& key, int value) const;
    void setStateValueBool(const std::string& key, bool value) const;
    void unsetStateValue(const std::string& key) const;
    void triggerEvent(const std::string& event, const std::string& value) const;
    void dispatchFID(const FunctionID& name, const FIDParameterList& params) const;

    void setPanelStateInterface(IPanelState* state) { m_pIPanelState = state; }
    void setDistributorFIDInterface(IDistributorFID* distributor) { m_pIDistributorFID = distributor; }

private:
    std::atomic<IPanelState*> m_pIPanelState{nullptr};
    std::atomic<IDistributorFID*> m_pIDistributorFID{nullptr};
    mutable std::mutex m_lock;
    std::map<FunctionID, StaticFIDFunctionBase*> m_staticMap;
    std::list<ParamFIDFunctionBase*> m_paramList;
    // Entries unlinked by unregisterObject, freed by the destructor.
    std::list<StaticFIDFunctionBase*> m_retiredStatic;
    std::list<ParamFIDFunctionBase*> m_retiredParam;
};
