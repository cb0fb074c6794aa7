#include "PanelBrightnessObserver.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <thread>
#include <cstdlib>
#include <iostream>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "oskit/InputFile.h"
#include "panelkit/FIDParameter.h"
#include "panelsettings.h"

const boost::posix_time::time_duration PanelBrightnessObserver::sleepDuration = boost::posix_time::microseconds(2000000);

namespace {

void report(const char* line) { std::cout << std::string(line) + "\n" << std::flush; }

} // namespace

PanelBrightnessObserver::PanelBrightnessObserver(const std::string& name,
                                                 const boost::posix_time::time_duration& period)
    : Task(name, period)
{
}

PanelBrightnessObserver::~PanelBrightnessObserver() = default;

void PanelBrightnessObserver::setParent(PanelSettings* parent) { m_pParent = parent; }

void PanelBrightnessObserver::stop() {}

void PanelBrightnessObserver::run()
{
    while (m_running.load()) {
        poll();
        ++m_pollCount;
        waitFor(sleepDuration);
    }
    if (SignalingEvent* stopped = m_pStopEvent.load()) stopped->operationIsComplete();
}

void PanelBrightnessObserver::poll()
{
    const std::string path = PanelSettings::brightnessExchangePath();
    // Only a regular file is read: a pipe or a folder in its place is refused
    // and counts as a file that does not open.
    oskit::InputFile file(path);
    if (oskit::InputFile::isRefusal(file.result()))
        report(("PBO: File refused (" + oskit::InputFile::describe(file.result()) + "): " + path).c_str());
    const int fd = file.descriptor();
    if (fd < 0) {
        report("PBO: File did Not open");
        return;
    }
    switch (lockShared(fd)) {
    case ELock::LOCKED:
        break;
    case ELock::FAILED:
        report("PBO: File did Not lock");
        return;
    case ELock::STOPPING:
        return;
    }

    char buffer[kReadSize + 1] = {};
    const ssize_t count = ::read(fd, buffer, kReadSize);
    (void)count;
    buffer[kReadSize] = '\0';
    const std::string text(buffer);

    // The handlers run under the shared lock; their rewrite of the file for
    // workplace 1 takes a shared lock of its own.
    Tokens tokens;
    if (!splitFields(text, tokens))
        report("PBO: File too short");
    else if (m_pParent)
        apply(tokens);

    ::flock(fd, LOCK_UN);
    ::fsync(fd);
}

// Waits for the shared lock as long as an outside writer holds the file
// exclusively, but gives up when the task is asked to stop, so that a lock
// held for ever cannot keep the driver from shutting down.
PanelBrightnessObserver::ELock PanelBrightnessObserver::lockShared(int fd)
{
    for (;;) {
        if (::flock(fd, LOCK_SH | LOCK_NB) == 0) return ELock::LOCKED;
        if (errno == EINTR) continue;
        if (errno != EWOULDBLOCK) return ELock::FAILED;
        if (m_pStopEvent.load() != nullptr) return ELock::STOPPING;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

bool PanelBrightnessObserver::splitFields(const std::string& text, Tokens& tokens)
{
    // Without "WP1" the first field is taken from byte 3 on.
    const size_t match = text.find("WP1");
    size_t start = match == std::string::npos ? 3 : match + 4;
    if (start > text.size()) return false;
    for (std::string& token : tokens) {
        const size_t blank = text.find(' ', start);
        if (blank == std::string::npos) {
            // Runs to the end; a field after it starts over at the beginning.
            token = text.substr(start);
            start = 0;
        } else {
            token = text.substr(start, blank - start);
            start = blank + 1;
        }
    }
    return true;
}

void PanelBrightnessObserver::apply(const Tokens& tokens)
{
    using Getter = uint16_t (PanelSettings::*)(int);
    using Handler = bool (PanelSettings::*)(const FunctionID&, const FIDParameterList*);
    struct Setting {
        Getter getter;
        Handler handler;
        const char* fid;
    };
    static const Setting settings[kFieldCount] = {
        {&PanelSettings::getBrightnessDisplayOled, &PanelSettings::onFIDBrightnessDisplayOledSet,
         "SETTINGS.BRIGHTNESS.DISPLAY.OLED.SET"},
        {&PanelSettings::getBrightnessDisplayText, &PanelSettings::onFIDBrightnessDisplayTextSet,
         "SETTINGS.BRIGHTNESS.DISPLAY.TEXT.SET"},
        {&PanelSettings::getBrightnessButtonHi, &PanelSettings::onFIDBrightnessButtonHiSet,
         "SETTINGS.BRIGHTNESS.BUTTON.HI.SET"},
        {&PanelSettings::getBrightnessButtonLow, &PanelSettings::onFIDBrightnessButtonLowSet,
         "SETTINGS.BRIGHTNESS.BUTTON.LOW.SET"},
        {&PanelSettings::getBrightnessDisplayTft, &PanelSettings::onFIDBrightnessDisplayTftSet,
         "SETTINGS.BRIGHTNESS.DISPLAY.TFT.SET"},
    };

    uint16_t values[kFieldCount];
    for (size_t field = 0; field < kFieldCount; ++field)
        values[field] = static_cast<uint16_t>(std::strtol(tokens[field].c_str(), nullptr, 10));

    for (int workplace = 1; workplace <= 8; ++workplace) {
        FIDParameterList params;
        params.add("WP", std::to_string(workplace));
        for (size_t field = 0; field < kFieldCount; ++field) {
            const Setting& setting = settings[field];
            params.add("VALUE", tokens[field]);
            if (values[field] != (m_pParent->*setting.getter)(workplace))
                (m_pParent->*setting.handler)(setting.fid, &params);
            params.removeParameter("VALUE");
        }
    }
}
