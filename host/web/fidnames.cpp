#include "fidnames.h"

namespace panelhost::web {

namespace {

const char* const kPanelFids[] = {
#include "fidcatalog.inc"
};

} // namespace

std::vector<std::string> panelFidNames()
{
    return std::vector<std::string>(std::begin(kPanelFids), std::end(kPanelFids));
}

} // namespace panelhost::web
