#pragma once

#include <map>
#include <string>

#include "oskit/Path.h"
#include "panelmfd/IPmemStorage.h"

// Panel memory registers of one workplace in plain text files:
//   line 1: the name, padded or cut to 30 bytes, then a line feed (always 31 bytes)
//   line 2: "version-<n>"
//   then one "key value" line per value, in byte-wise key order.
// Register 0 is pmem/default.pmem, register 1000 pmem/default_MO.pmem (shared by
// all workplaces); any other is pmem/workplace<w>/<r>.pmem under the root directory.
// The object holds exactly one register, the one last loaded.
class PmemStorageText : public IPmemStorage {
public:
    static constexpr std::size_t kNameLength = 30;
    static constexpr int kLineBufferSize = 500;

    explicit PmemStorageText(const std::string& rootDir);
    ~PmemStorageText() override;
    PmemStorageText(const PmemStorageText&) = delete;
    PmemStorageText& operator=(const PmemStorageText&) = delete;

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

    // The value a stored value becomes when a register of file version
    // fileVersion is loaded for version (old words replaced).
    static std::string convertValue(const std::string& value, int version, int fileVersion);

private:
    oskit::Path makePath(int workplace, int reg, bool create) const;
    std::string cutName(const std::string& name) const;
    std::string expandName(const std::string& name) const;

    std::map<std::string, std::string> m_values;
    std::string m_rootDir;
    std::string m_name;
    int m_workplace;
    int m_register;
};
