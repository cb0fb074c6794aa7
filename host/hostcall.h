#pragma once

// Recording of one call that the module made on a host interface.

#include <string>
#include <vector>

namespace panelhost {

class Recorder;

// Records "Iface.op ARGS" in the calls stream (arguments as plain texts; they
// are quoted in the shown text when empty or holding blanks). Narrated with a
// short explanation unless `narrate` is false (for calls that come by the
// hundred, such as polling).
void recordHostCall(Recorder& recorder, const std::string& op, const std::vector<std::string>& args,
                    bool narrate = true);

// The explanation shown beside a host call, empty if there is none.
std::string describeHostCall(const std::string& op);

} // namespace panelhost
