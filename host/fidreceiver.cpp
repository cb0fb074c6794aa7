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

void FidReceiver::setModule(IFunctionID* module)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_module = module;
    if (!module) m_idle.wait(lock, [this] { return m_inFlight == 0; });
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
    IFunctionID* module = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        prefix = m_prefix;
        if (startsWith(name, prefix + ".")) {
            module = m_module;
            if (module) ++m_inFlight;
        }
    }
    const bool own = startsWith(name, prefix + ".");
    const auto dot = name.find('.');
    const std::string driver = dot == std::string::npos ? name : name.substr(0, dot);
    m_recorder.append(Stream::Sent, std::move(e), "fid",
                      own ? "back into the module" : "to mainframe driver " + driver);
    if (own) {
        if (!module) return;
        struct Done {
            const FidReceiver& self;
            ~Done()
            {
                {
                    std::lock_guard<std::mutex> lock(self.m_mutex);
                    --self.m_inFlight;
                }
                self.m_idle.notify_all();
            }
        } done{*this};
        // Into the module without our lock: it may send straight back.
        module->sendFID(name.substr(prefix.size() + 1), params);
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
