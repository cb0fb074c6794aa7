#include "oskit/Module.h"

namespace oskit {

Module::Module() = default;

Module::~Module() = default;

void Module::onLoad() {}

void Module::onUnload() {}

} // namespace oskit
