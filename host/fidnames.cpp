#include "fidnames.h"

#include <iterator>

namespace panelhost {

namespace {

const char* const kPanelFids[] = {
#include "fidcatalog.inc"
};

} // namespace

const std::vector<std::string>& moduleFIDNames()
{
    static const std::vector<std::string> kNames(std::begin(kPanelFids), std::end(kPanelFids));
    return kNames;
}

} // namespace panelhost
