#include "modulecalls.h"

#include <functional>
#include <map>

#include "hostmodule.h"
#include "panelkit/UniqueWidgetID.h"
#include "textutil.h"

namespace panelhost {

bool buildParams(const std::vector<std::string>& words, FIDParameterList& params, std::string& error)
{
    for (const auto& w : words) {
        if (!w.empty() && w[0] == '@') {
            auto id = parseWidget(w.substr(1));
            if (!id) {
                error = "a source widget @W.G.M.N, not " + w;
                return false;
            }
            params.sourceWidget = *id;
            continue;
        }
        const auto eq = w.find('=');
        if (eq == std::string::npos || eq == 0) {
            error = "a parameter NAME=VALUE, not " + quoteWord(w);
            return false;
        }
        params.add(w.substr(0, eq), w.substr(eq + 1));
    }
    return true;
}

namespace {

using Args = std::vector<std::string>;
using Op = std::function<CallResult(HostModule&, const Args&)>;

CallResult fail(const std::string& error)
{
    CallResult r;
    r.error = error;
    return r;
}

CallResult done(const std::string& value = std::string())
{
    CallResult r;
    r.ok = true;
    r.value = value;
    return r;
}

const char* boolText(bool b)
{
    return b ? "true" : "false";
}

IMacroSystem* macros(HostModule& m, CallResult& r)
{
    IMacroSystem* ms = m.macroSystem();
    if (!ms)
        r.error = m.running() ? "the module has no macro system (interface 1107 answers null)" : "no module is running";
    return ms;
}

Op widgetOp(std::function<std::string(IMacroSystem*, const UniqueWidgetID&)> body)
{
    return [body](HostModule& m, const Args& a) {
        if (a.size() != 1) return fail("one widget W.G.M.N");
        auto w = parseWidget(a[0]);
        if (!w) return fail("a widget W.G.M.N, not " + quoteWord(a[0]));
        CallResult r;
        IMacroSystem* ms = macros(m, r);
        if (!ms) return r;
        return done(body(ms, *w));
    };
}

Op settingsOp(std::function<std::string(IPanelSettings*, int)> body)
{
    return [body](HostModule& m, const Args& a) {
        if (a.size() != 1) return fail("one workplace number");
        auto wp = parseInteger(a[0]);
        if (!wp || *wp < -1000000 || *wp > 1000000) return fail("a workplace number, not " + quoteWord(a[0]));
        IPanelSettings* ps = m.panelSettings();
        if (!ps)
            return fail(m.running() ? "the module has no panel settings (interface 1012 answers null)"
                                    : "no module is running");
        return done(body(ps, static_cast<int>(*wp)));
    };
}

Op fidOp(std::function<void(HostModule&, const std::string&, const FIDParameterList&)> body, bool needMacros)
{
    return [body, needMacros](HostModule& m, const Args& a) {
        if (a.empty()) return fail("a FID name");
        FIDParameterList params;
        std::string error;
        if (!buildParams(Args(a.begin() + 1, a.end()), params, error)) return fail(error);
        if (needMacros) {
            CallResult r;
            if (!macros(m, r)) return r;
        } else if (!m.functionID()) {
            return fail("no module is running");
        }
        body(m, a[0], params);
        return done();
    };
}

const std::map<std::string, Op>& table()
{
    static const std::map<std::string, Op> kOps = [] {
        std::map<std::string, Op> t;
        t["IMacroSystem.isInReplaceMode"] =
            widgetOp([](IMacroSystem* ms, const UniqueWidgetID& w) { return boolText(ms->isInReplaceMode(w)); });
        t["IMacroSystem.execPreMacro"] =
            widgetOp([](IMacroSystem* ms, const UniqueWidgetID& w) { return boolText(ms->execPreMacro(w)); });
        t["IMacroSystem.execReplaceMacro"] =
            widgetOp([](IMacroSystem* ms, const UniqueWidgetID& w) { return boolText(ms->execReplaceMacro(w)); });
        t["IMacroSystem.execPostMacro"] = widgetOp([](IMacroSystem* ms, const UniqueWidgetID& w) {
            ms->execPostMacro(w);
            return std::string();
        });
        t["IMacroSystem.completePreMacro"] = widgetOp([](IMacroSystem* ms, const UniqueWidgetID& w) {
            ms->completePreMacro(w);
            return std::string();
        });
        t["IMacroSystem.hasReplaceMacro"] =
            widgetOp([](IMacroSystem* ms, const UniqueWidgetID& w) { return boolText(ms->hasReplaceMacro(w)); });
        t["IMacroSystem.getMacroLevel"] =
            widgetOp([](IMacroSystem* ms, const UniqueWidgetID& w) { return ms->getMacroLevel(w); });
        t["IMacroSystem.onButtonDown"] = widgetOp([](IMacroSystem* ms, const UniqueWidgetID& w) {
            ms->onButtonDown(w);
            return std::string();
        });
        t["IMacroSystem.onButtonHold"] = widgetOp([](IMacroSystem* ms, const UniqueWidgetID& w) {
            ms->onButtonHold(w);
            return std::string();
        });
        t["IMacroSystem.onButtonRelease"] = widgetOp([](IMacroSystem* ms, const UniqueWidgetID& w) {
            ms->onButtonRelease(w);
            return std::string();
        });
        t["IMacroSystem.setMacroLevel"] = [](HostModule& m, const Args& a) {
            if (a.size() != 2) return fail("a widget W.G.M.N and a level");
            auto w = parseWidget(a[0]);
            if (!w) return fail("a widget W.G.M.N, not " + quoteWord(a[0]));
            CallResult r;
            IMacroSystem* ms = macros(m, r);
            if (!ms) return r;
            ms->setMacroLevel(*w, a[1]);
            return done();
        };
        t["IMacroSystem.recordFID"] = fidOp(
            [](HostModule& m, const std::string& name, const FIDParameterList& p) {
                if (IMacroSystem* ms = m.macroSystem()) ms->recordFID(name, p);
            },
            true);
        using PS = IPanelSettings;
        auto num = [](auto f) {
            return settingsOp([f](PS* ps, int wp) { return std::to_string(static_cast<long long>((ps->*f)(wp))); });
        };
        auto flag = [](auto f) { return settingsOp([f](PS* ps, int wp) { return std::string(boolText((ps->*f)(wp))); }); };
        t["IPanelSettings.getBrightnessButtonLow"] = num(&PS::getBrightnessButtonLow);
        t["IPanelSettings.getBrightnessButtonHi"] = num(&PS::getBrightnessButtonHi);
        t["IPanelSettings.getBrightnessDisplayText"] = num(&PS::getBrightnessDisplayText);
        t["IPanelSettings.getBrightnessDisplayOled"] = num(&PS::getBrightnessDisplayOled);
        t["IPanelSettings.getBrightnessDisplayTft"] = num(&PS::getBrightnessDisplayTft);
        t["IPanelSettings.getJoystickSensitivity"] = num(&PS::getJoystickSensitivity);
        t["IPanelSettings.getOLEDFontsResizable"] = flag(&PS::getOLEDFontsResizable);
        t["IPanelSettings.getOLEDMode"] = num(&PS::getOLEDMode);
        t["IPanelSettings.isOLEDOutlineEnabled"] = flag(&PS::isOLEDOutlineEnabled);
        t["IPanelSettings.getLeverArmTestStepSize"] = num(&PS::getLeverArmTestStepSize);
        t["IPanelSettings.getLeverArmTestStepCount"] = num(&PS::getLeverArmTestStepCount);
        t["IPanelMFD.setStateValue"] = [](HostModule& m, const Args& a) {
            if (a.size() != 2) return fail("a key and a value");
            if (!m.panelMFD()) return fail("no module is running");
            m.panelMFD()->setStateValue(a[0], a[1]);
            return done();
        };
        t["IPanelMFD.setWorkplaceConfigFilename"] = [](HostModule& m, const Args& a) {
            if (a.size() != 1) return fail("a file name");
            if (!m.panelMFD()) return fail("no module is running");
            m.panelMFD()->setWorkplaceConfigFilename(a[0]);
            return done();
        };
        t["IPanelMFD.interfaceInitializationDone"] = [](HostModule& m, const Args& a) {
            if (!a.empty()) return fail("no argument");
            if (!m.panelMFD()) return fail("no module is running");
            m.panelMFD()->interfaceInitializationDone();
            return done();
        };
        auto configOp = [](void (IMFDConfiguration::*f)()) {
            return Op([f](HostModule& m, const Args& a) {
                if (!a.empty()) return fail("no argument");
                if (!m.configuration()) return fail("no module is running");
                (m.configuration()->*f)();
                return done();
            });
        };
        t["IMFDConfiguration.initializationCompleted"] = configOp(&IMFDConfiguration::initializationCompleted);
        t["IMFDConfiguration.deinitialize"] = configOp(&IMFDConfiguration::deinitialize);
        t["IMFDConfiguration.createFIDList"] = configOp(&IMFDConfiguration::createFIDList);
        t["IMFDConfiguration.setConfiguration"] = [](HostModule& m, const Args& a) {
            if (a.size() != 7) return fail("a driver number and six texts");
            auto n = parseInteger(a[0]);
            if (!n || *n < -1000000 || *n > 1000000) return fail("a driver number, not " + quoteWord(a[0]));
            if (!m.configuration()) return fail("no module is running");
            m.configuration()->setConfiguration(static_cast<int>(*n), a[1], a[2], a[3], a[4], a[5], a[6]);
            return done();
        };
        t["IFunctionID.sendFID"] = fidOp(
            [](HostModule& m, const std::string& name, const FIDParameterList& p) {
                if (IFunctionID* f = m.functionID()) f->sendFID(name, p);
            },
            false);
        t["IFunctionID.showState"] = [](HostModule& m, const Args& a) {
            if (!a.empty()) return fail("no argument");
            if (!m.functionID()) return fail("no module is running");
            m.functionID()->showState();
            return done();
        };
        t["IFunctionID.subscribe"] = [](HostModule& m, const Args& a) {
            if (a.size() != 1) return fail("a FID name");
            if (!m.functionID()) return fail("no module is running");
            m.functionID()->subscribe(a[0]);
            return done();
        };
        return t;
    }();
    return kOps;
}

} // namespace

CallResult callModule(HostModule& module, const std::string& operation, const std::vector<std::string>& args)
{
    auto it = table().find(operation);
    if (it == table().end()) return fail("an operation of the module's interfaces, not " + operation);
    CallResult r = it->second(module, args);
    if (!r.ok && r.error.empty()) r.error = "the call failed";
    if (!r.ok) r.error = operation + ": " + r.error;
    return r;
}

std::vector<std::string> moduleOperations()
{
    std::vector<std::string> out;
    for (const auto& [name, op] : table()) out.push_back(name);
    return out;
}

} // namespace panelhost
