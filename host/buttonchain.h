#pragma once

// The host's chain around a button's own function, as a panel application
// runs it when a button goes down: onButtonDown; execPreMacro and, when it
// answers true, a wait of up to 10 s for PREMACROFINISHED of that widget;
// hasReplaceMacro; then execReplaceMacro (waiting likewise for
// REPLACEMACROFINISHED) or the button's own function (recorded as the call
// Host.buttonFunction W.G.M.N); completePreMacro; execPostMacro. The script's
// `press` adds onButtonRelease at the end; the live panel releases when the
// mouse button comes up.

class IMacroSystem;
class UniqueWidgetID;

namespace panelhost {

class Host;

void runButtonChain(Host& host, IMacroSystem& macros, const UniqueWidgetID& widget, bool release);

} // namespace panelhost
