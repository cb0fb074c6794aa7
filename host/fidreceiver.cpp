#include "fidreceiver.h"

#include "hostcall.h"
#include "recorder.h"
#include "simmainframe.h"
#include "textutil.h"

namespace panelhost {

FidReceiver::FidReceiver(Recorder& recorder, SimMainframe& mainframe) : m_recorder(recorder), m_mainframe(mainframe) {}

void FidReceiver::setPrefix(const std::string& prefix)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_prefix = prefix;
}

void FidReceiver::sendFID(const FunctionID& name, const FIDParameterList& params) const
{
    Entry e;
    e.fields = {name, widgetText(params.sourceWidget)};
    for (const auto& p : params.parameters()) {
        e.fields.push_back(p.name);
        e.fields.push_back(p.value);
    }
    e.text = quoteWord(name);
    const std::string list = paramsText(params, true);
    if (!list.empty()) e.text += " " + list;
    std::string prefix;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        prefix = m_prefix;
    }
    const bool own = startsWith(name, prefix + ".");
    const auto dot = name.find('.');
    const std::string driver = dot == std::string::npos ? name : name.substr(0, dot);
    m_recorder.append(Stream::Sent, std::move(e), "fid",
                      own ? "back into the module" : "to mainframe driver " + driver);
    if (own) {
        IFunctionID* module = m_module.load();
        if (module) module->sendFID(name.substr(prefix.size() + 1), params);
        return;
    }
    m_mainframe.receive(driver, name, params);
}

void FidReceiver::subscribe(const FunctionID& name) const
{
    recordHostCall(m_recorder, "IFunctionID.subscribe", {name});
}

void FidReceiver::showState() const
{
    recordHostCall(m_recorder, "IFunctionID.showState", {});
}

} // namespace panelhost
