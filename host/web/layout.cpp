#include "layout.h"

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <sstream>

namespace panelhost::web {

bool checkLayout(const std::string& text, std::string& error)
{
    if (text.size() > kMaxLayoutBytes) {
        error = "larger than " + std::to_string(kMaxLayoutBytes) + " bytes";
        return false;
    }
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos || text[first] != '{') {
        error = "not a JSON object";
        return false;
    }
    boost::property_tree::ptree tree;
    try {
        std::istringstream in(text);
        boost::property_tree::read_json(in, tree);
    } catch (const boost::property_tree::json_parser_error& e) {
        error = "line " + std::to_string(e.line()) + ": " + e.message();
        return false;
    }
    if (!tree.get_child_optional("workplaces")) {
        error = "no \"workplaces\" list";
        return false;
    }
    return true;
}

} // namespace panelhost::web
