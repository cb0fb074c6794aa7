#include "fidmaphandler.h"

FIDMapHandler::FIDMapHandler() = default;

FIDMapHandler::~FIDMapHandler()
{
    for (auto& entry : m_staticMap) delete entry.second;
    for (auto* entry : m_paramList) delete entry;
    for (auto* entry : m_retiredStatic) delete entry;
    for (auto* entry : m_retiredParam) delete entry;
    m_pIPanelState = nullptr;
    m_pIDistributorFID = nullptr;
    m_staticMap.clear();
    m_paramList.clear();
}

IInterface* FIDMapHandler::queryInterface(unsigned int id)
{
    if (id == kIdFunctionID) return static_cast<IInterface*>(this);
    return nullptr;
}

void FIDMapHandler::sendFID(const FunctionID& name, const FIDParameterList& params) const
{
    if (StaticFIDFunctionBase* entry = findStaticFIDFunction(name)) {
        entry->call(name, &params);
        return;
    }
    FIDParameterList captures;
    if (ParamFIDFunctionBase* entry = findParamFIDFunction(name, captures)) entry->call(name, &params, captures);
}

oskit::InputFile::EResult FIDMapHandler::checkStorableText(const FunctionID& name, const FIDParameterList* params)
{
    oskit::InputFile::EResult why = oskit::InputFile::checkText(name);
    if (!params) return why;
    for (const FIDParameter& parameter : params->parameters()) {
        if (why == oskit::InputFile::RESULT_OK) why = oskit::InputFile::checkText(parameter.name);
        if (why == oskit::InputFile::RESULT_OK) why = oskit::InputFile::checkText(parameter.value);
    }
    return why;
}

void FIDMapHandler::subscribe(const FunctionID&) const {}

void FIDMapHandler::showState() const {}

bool FIDMapHandler::unregisterFunction(const FunctionID& name)
{
    std::lock_guard<std::mutex> guard(m_lock);
    auto it = m_staticMap.find(name);
    if (it == m_staticMap.end()) return false;
    // Another thread may be about to call it.
    m_retiredStatic.push_back(it->second);
    m_staticMap.erase(it);
    return true;
}

StaticFIDFunctionBase* FIDMapHandler::findStaticFIDFunction(const FunctionID& name) const
{
    std::lock_guard<std::mutex> guard(m_lock);
    auto it = m_staticMap.find(name);
    return it == m_staticMap.end() ? nullptr : it->second;
}

ParamFIDFunctionBase* FIDMapHandler::findParamFIDFunction(const FunctionID& name, FIDParameterList& captures) const
{
    const FIDHelper helper(name);
    std::lock_guard<std::mutex> guard(m_lock);
    for (ParamFIDFunctionBase* entry : m_paramList) {
        const FIDPatternHelper pattern(entry->getParameterizedFID());
        if (pattern.matches(helper)) {
            captures = pattern.getCaptures();
            return entry;
        }
    }
    return nullptr;
}

std::list<FunctionID> FIDMapHandler::registeredNames() const
{
    std::list<FunctionID> names;
    std::lock_guard<std::mutex> guard(m_lock);
    for (const auto& entry : m_staticMap)
        if (entry.second) names.push_back(entry.first);
    return names;
}

void FIDMapHandler::setStateValue(const std::string& key, const std::string& value) const
{
    if (IPanelState* state = m_pIPanelState.load()) state->setStateValue(key, value);
}

void FIDMapHandler::setStateValueFloat(const std::string& key, float value) const
{
    if (IPanelState* state = m_pIPanelState.load()) state->setStateValueFloat(key, value);
}

void FIDMapHandler::setStateValueInt(const std::string& key, int value) const
{
    if (IPanelState* state = m_pIPanelState.load()) state->setStateValueInt(key, value);
}

void FIDMapHandler::setStateValueBool(const std::string& key, bool value) const
{
    if (IPanelState* state = m_pIPanelState.load()) state->setStateValueBool(key, value);
}

void FIDMapHandler::unsetStateValue(const std::string& key) const
{
    if (IPanelState* state = m_pIPanelState.load()) state->unsetStateValue(key);
}

void FIDMapHandler::triggerEvent(const std::string& event, const std::string& value) const
{
    if (IPanelState* state = m_pIPanelState.load()) state->triggerEvent(event, value);
}

void FIDMapHandler::dispatchFID(const FunctionID& name, const FIDParameterList& params) const
{
    if (IDistributorFID* distributor = m_pIDistributorFID.load()) distributor->dispatchFID(name, params);
}
