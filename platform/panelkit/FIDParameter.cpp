#include "panelkit/FIDParameter.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <ostream>

FIDParameter::~FIDParameter() = default;

FIDParameterList::~FIDParameterList() = default;

void FIDParameterList::add(const std::string& name, const std::string& value)
{
    m_parameters.emplace_back(name, value);
}

void FIDParameterList::add(const FIDParameter& parameter)
{
    m_parameters.push_back(parameter);
}

void FIDParameterList::removeParameter(const std::string& name)
{
    m_parameters.remove_if([&name](const FIDParameter& p) { return p.name == name; });
}

bool FIDParameterList::getValue(const std::string& name, std::string& value) const
{
    for (const FIDParameter& p : m_parameters) {
        if (p.name == name) {
            value = p.value;
            return true;
        }
    }
    return false;
}

// Leading blanks and a sign are accepted, digits are read up to the first
// other character; a text without digits or out of range gives 0.
bool FIDParameterList::getValue(const std::string& name, int& value) const
{
    std::string text;
    if (!getValue(name, text)) return false;
    errno = 0;
    char* end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || errno == ERANGE || number < INT_MIN || number > INT_MAX) {
        value = 0;
    } else {
        value = static_cast<int>(number);
    }
    return true;
}

std::ostream& operator<<(std::ostream& os, const FIDParameterList& list)
{
    // A stream that takes nothing (a log level that is off) isn't walked.
    if (!os) return os;
    for (const FIDParameter& p : list.parameters()) os << p.name << '=' << p.value << ' ';
    os << '@' << list.sourceWidget;
    return os;
}
