#include "buttonchain.h"

#include "hostcall.h"
#include "panelhost.h"
#include "textutil.h"

namespace panelhost {

void runButtonChain(Host& host, IMacroSystem& ms, const UniqueWidgetID& w, bool release)
{
    Narrator& say = host.narrator();
    Recorder& rec = host.recorder();
    const std::string id = widgetText(w);
    auto waitNotify = [&](size_t from, const std::string& word) {
        say.line("press", "wait up to 10 s for " + word);
        auto at = rec.waitFor(
            Stream::Notify, from,
            [&](const Entry& e) { return e.fields.size() >= 2 && e.fields[0] == id && e.fields[1] == word; }, 10000);
        if (!at) say.line("press", "no " + word + " came within 10 s; going on");
    };
    say.line("press", "onButtonDown " + id);
    ms.onButtonDown(w);
    size_t from = rec.size(Stream::Notify);
    const bool pre = ms.execPreMacro(w);
    say.line("press", std::string("execPreMacro answers ") + (pre ? "true" : "false"));
    if (pre) waitNotify(from, "PREMACROFINISHED");
    const bool replace = ms.hasReplaceMacro(w);
    say.line("press", std::string("hasReplaceMacro answers ") + (replace ? "true" : "false"));
    if (replace) {
        from = rec.size(Stream::Notify);
        const bool started = ms.execReplaceMacro(w);
        say.line("press", std::string("execReplaceMacro answers ") + (started ? "true" : "false"));
        if (started) waitNotify(from, "REPLACEMACROFINISHED");
    } else {
        recordHostCall(rec, "Host.buttonFunction", {id});
    }
    if (release) {
        say.line("press", "completePreMacro, execPostMacro, onButtonRelease");
        ms.completePreMacro(w);
        ms.execPostMacro(w);
        ms.onButtonRelease(w);
    } else {
        say.line("press", "completePreMacro, execPostMacro");
        ms.completePreMacro(w);
        ms.execPostMacro(w);
    }
}

} // namespace panelhost
