#pragma once

#include "panelkit/Export.h"
#include "panelkit/FIDParameter.h"
#include "panelkit/FunctionID.h"

// Holds one FID name.
class PANEL_API FIDHelper {
public:
    explicit FIDHelper(const FunctionID& name) : m_name(name) {}
    virtual ~FIDHelper();

    const FunctionID& getName() const { return m_name; }

protected:
    FunctionID m_name;
};

// Holds a pattern whose last word is "*": a name matches when it equals the
// pattern up to the star and has at least one character in the star's place.
// On a match the capture list holds one parameter named "*".
class PANEL_API FIDPatternHelper : public FIDHelper {
public:
    explicit FIDPatternHelper(const FunctionID& pattern) : FIDHelper(pattern) {}
    ~FIDPatternHelper() override;

    bool matches(const FIDHelper& candidate) const;
    const FIDPatternList& getCaptures() const { return m_captures; }

private:
    mutable FIDPatternList m_captures;
};
