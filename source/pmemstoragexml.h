#pragma once

#include <map>
#include <string>

#include "panelmfd/IPmemStorage.h"

class PmemFileParserXml;

// Panel memory registers of one workplace as small XML files, at
// pmem/workplace<w>/<r>.pmem for every register. A reduced storage: no default
// registers, no versions, no names on disk and no delete; those operations
// answer fixed results.
class PmemStorageXml : public IPmemStorage {
public:
    explicit PmemStorageXml(const std::string& rootDir);
    ~PmemStorageXml() override;
    PmemStorageXml(const PmemStorageXml&) = delete;
    PmemStorageXml& operator=(const PmemStorageXml&) = delete;

    IInterface* queryInterface(unsigned int id) override;

    bool loadRegister(int workplace, int reg, int version) override;
    bool registerIsValid(int workplace, int reg) override;
    bool registerIsEmpty() override;
    bool saveRegister(int version) override;
    bool deleteRegister(int workplace, int reg) override;
    bool getRegisterName(int workplace, int reg, std::string& name) const override;
    bool getRegisterName(std::string& name) override;
    bool setRegisterName(const std::string& name) override;
    bool setRegisterName(int workplace, int reg, const std::string& name) override;
    bool setRegisterValue(const std::string& key, const std::string& value) override;
    bool getRegisterValue(const std::string& key, std::string& value) override;
    std::map<std::string, std::string>& getRegisterValues() override;

private:
    PmemFileParserXml* m_pParser;
    std::map<std::string, std::string> m_values;
    std::string m_rootDir;
    std::string m_name;
    int m_workplace;
    int m_register;
};
