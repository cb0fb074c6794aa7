#pragma once

#include <iosfwd>
#include <list>
#include <string>

#include "panelkit/Export.h"
#include "panelkit/FunctionID.h"
#include "panelkit/UniqueWidgetID.h"

// One named text value of a FID.
class PANEL_API FIDParameter {
public:
    FIDParameter() = default;
    FIDParameter(std::string n, std::string v) : name(std::move(n)), value(std::move(v)) {}
    FIDParameter(const FIDParameter&) = default;
    FIDParameter& operator=(const FIDParameter&) = default;
    virtual ~FIDParameter();

    std::string name;
    std::string value;
};

// The parameters of a FID in the order they were added, and the widget it came from.
class PANEL_API FIDParameterList {
public:
    using Parameters = std::list<FIDParameter>;

    FIDParameterList() = default;
    FIDParameterList(const FIDParameterList&) = default;
    FIDParameterList& operator=(const FIDParameterList&) = default;
    virtual ~FIDParameterList();

    void add(const std::string& name, const std::string& value);
    void add(const FIDParameter& parameter);
    // Removes the parameters of this name; an absent name is no error.
    void removeParameter(const std::string& name);

    // True and the value when present; false with the output untouched otherwise.
    bool getValue(const std::string& name, std::string& value) const;
    // As above, the text read as a decimal integer. A present name answers true
    // even if its text is no number (the number is then 0).
    bool getValue(const std::string& name, int& value) const;

    const Parameters& parameters() const { return m_parameters; }
    size_t size() const { return m_parameters.size(); }
    bool empty() const { return m_parameters.empty(); }

    UniqueWidgetID sourceWidget;

private:
    Parameters m_parameters;
};

// The captures of a pattern match ("*" = the text in the star's place).
using FIDPatternList = FIDParameterList;

// NAME=VALUE pairs separated by blanks, then "@w.g.m.n".
PANEL_API std::ostream& operator<<(std::ostream& os, const FIDParameterList& list);
