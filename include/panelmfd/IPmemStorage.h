#pragma once

#include <map>
#include <string>

#include "panelmfd/IInterface.h"

// Storage of the panel memory registers of one workplace (id 1108). It holds
// one register at a time, the one last loaded.
class PANEL_API IPmemStorage : public virtual IInterface {
public:
    virtual bool loadRegister(int workplace, int reg, int version) = 0;
    virtual bool registerIsValid(int workplace, int reg) = 0;
    virtual bool registerIsEmpty() = 0;
    virtual bool saveRegister(int version) = 0;
    virtual bool deleteRegister(int workplace, int reg) = 0;
    virtual bool getRegisterName(int workplace, int reg, std::string& name) const = 0;
    virtual bool getRegisterName(std::string& name) = 0;
    virtual bool setRegisterName(const std::string& name) = 0;
    virtual bool setRegisterName(int workplace, int reg, const std::string& name) = 0;
    virtual bool setRegisterValue(const std::string& key, const std::string& value) = 0;
    virtual bool getRegisterValue(const std::string& key, std::string& value) = 0;
    virtual std::map<std::string, std::string>& getRegisterValues() = 0;
};
