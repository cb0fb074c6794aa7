// Programming the menu panel's DDC EEPROM from a 256-byte image file.

#include <algorithm>
#include <array>
#include <iomanip>
#include <iostream>
#include <string>

#include "mfdconfighandler.h"
#include "oskit/InputFile.h"
#include "panelkit/Assert.h"
#include "panelmfd.h"
#include "panelsys/SystemSettings.h"

namespace {

const char* const kDDCEEPROMStateKey = "MENU.DDC_EEPROM.WRITE";
const std::string kDDCBus = "I2C_DDC";
constexpr int kDDCDeviceAddress = 0xA0;
constexpr int kDDCOffset = 0;
constexpr int kDDCEEPROMSize = 256;

using EEPROMImage = std::array<unsigned char, kDDCEEPROMSize>;

// Sixteen bytes to a line, each in hex two wide and a blank.
void dumpBytes(const EEPROMImage& bytes)
{
    for (int i = 0; i < kDDCEEPROMSize; ++i) {
        std::cout << std::hex << std::setw(2) << static_cast<int>(bytes[static_cast<size_t>(i)]) << std::dec << " ";
        if ((i + 1) % 16 == 0) std::cout << std::endl;
    }
}

} // namespace

bool PanelMFD::onFIDMenuDDCEEPROMWrite(const FunctionID&, const FIDParameterList* paraList)
{
    setStateValue(kDDCEEPROMStateKey, "IN_PROGRESS");
    PANEL_ASSERT(m_pSystemSettings, "m_pSystemSettings");
    PANEL_ASSERT(m_pConfigHandler, "m_pConfigHandler");

    IInterface* found = m_pSystemSettings->queryInterface(II2C::kInterfaceId);
    II2C* pI2CInterface = found ? dynamic_cast<II2C*>(found) : nullptr;
    PANEL_ASSERT(pI2CInterface, "pI2CInterface");

    std::string filename;
    if (!paraList || !paraList->getValue("FILENAME", filename)) {
        setStateValue(kDDCEEPROMStateKey, "FAILED");
        return false;
    }

    oskit::Path path(m_pConfigHandler->m_dataDirectory);
    path.expand(filename);

    // Only a regular file is read: a folder or a pipe there is refused and
    // fails as a file that does not open.
    oskit::InputFile file(path.getPath());
    if (oskit::InputFile::isRefusal(file.result()))
        m_log.getErrorStream() << "Refused EEPROM image file " << path.getPath() << ": "
                               << oskit::InputFile::describe(file.result());
    if (!file.isOpen()) {
        m_log.getErrorStream() << "Menu Panel DDc EEPROM write faild to open file " << path.getPath();
        setStateValue(kDDCEEPROMStateKey, "FAILED");
        return false;
    }

    EEPROMImage written{};
    std::string bytes;
    const bool read = file.readAll(bytes) == oskit::InputFile::RESULT_OK && bytes.size() >= written.size();
    file.close();
    if (!read) {
        m_log.getErrorStream() << "Menu Panel DDC EEPROM write FAILED: failed to read " << kDDCEEPROMSize
                               << " bytes from file '" << path.getPath() << "'.";
        setStateValue(kDDCEEPROMStateKey, "FAILED");
        return false;
    }
    std::copy(bytes.begin(), bytes.begin() + kDDCEEPROMSize, written.begin());

    if (!pI2CInterface->write(kDDCBus, kDDCDeviceAddress, kDDCOffset, written.data(), kDDCEEPROMSize)) {
        m_log.getErrorStream() << "Menu Panel DDC EEPROM write FAILED: I2C write failed.";
        setStateValue(kDDCEEPROMStateKey, "FAILED");
        return false;
    }

    EEPROMImage readBack{};
    if (!pI2CInterface->read(kDDCBus, kDDCDeviceAddress, kDDCOffset, readBack.data(), kDDCEEPROMSize, 0)) {
        m_log.getErrorStream() << "Menu Panel DDC EEPROM write FAILED: I2C read back failed.";
        setStateValue(kDDCEEPROMStateKey, "FAILED");
        return false;
    }

    if (readBack == written) {
        m_log.getInfoStream() << "Menu Panel DDC EEPROM written successfully.";
        setStateValue(kDDCEEPROMStateKey, "SUCCESS");
        return true;
    }

    m_log.getErrorStream() << "Menu Panel DDC EEPROM write FAILED: I2C read back not equal to written data.";
    std::cout << "Write bytes:" << std::endl;
    dumpBytes(written);
    std::cout << "Read bytes:" << std::endl;
    dumpBytes(readBack);
    setStateValue(kDDCEEPROMStateKey, "FAILED");
    return false;
}
