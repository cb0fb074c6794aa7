#pragma once

#include <array>
#include <atomic>
#include <string>

#include <boost/date_time/posix_time/posix_time_duration.hpp>

#include "panelsys/Task.h"

class PanelSettings;

// Polls the brightness exchange file every two seconds. Whatever its line
// "WP1" says is the brightness of workplaces 1 to 8: on a difference the Set
// handlers of PanelSettings are called on this task's thread.
class PanelBrightnessObserver : public Task {
public:
    static const boost::posix_time::time_duration sleepDuration;
    static constexpr size_t kFieldCount = 5;
    static constexpr size_t kReadSize = 128;

    using Tokens = std::array<std::string, kFieldCount>;

    PanelBrightnessObserver(const std::string& name, const boost::posix_time::time_duration& period);
    ~PanelBrightnessObserver() override;

    // Null: the file is read and nothing is set.
    void setParent(PanelSettings* parent);

    void run() override;
    void stop() override;

    // One poll: open, shared lock, read, compare and set, unlock, close.
    void poll();
    // Completed polls, for whoever waits on the task.
    unsigned long pollCount() const { return m_pollCount.load(); }

    // The five fields after "WP1": OLED, text, high tally, low tally, TFT. Each
    // ends at the next blank; the last runs to the end of the text. False when
    // the text is too short to hold the first field.
    static bool splitFields(const std::string& text, Tokens& tokens);

private:
    enum class ELock { LOCKED, FAILED, STOPPING };
    ELock lockShared(int fd);
    void apply(const Tokens& tokens);

    PanelSettings* m_pParent = nullptr;
    std::atomic<unsigned long> m_pollCount{0};
};
