#pragma once

// The simulated mainframe drivers behind the FID receiver. Each driver id is
// passive unless a knob `mfd.ID = active` says otherwise: a passive driver
// only takes note of what it receives and publishes nothing, so a script
// decides every status with `publish`. An active one answers the way a
// mainframe would:
//   ID[.PRE|.REPLACE|.POST].MACRO.RECALL REG=n  publishes ID.MACRO.REGn.STATUS = PLAY
//       and ID.MACRO.CURRENT.REG = n at once, then STATUS = STOP after the
//       play time (knob mfd.ID.playms, default 1000 ms);
//   ID.MACRO.STOP REG=n                        publishes STATUS = STOP;
//   ID.MACRO.RESUME REG=n                      publishes STATUS = PLAY, then STOP
//       after the play time;
//   ID.MACROEXPORT.*                           noted only.
// Statuses are published from the simulator's own thread, as a mainframe
// answers in its own time.

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "panelkit/FIDParameter.h"

namespace panelhost {

class StateTable;
class Knobs;

class SimMainframe {
public:
    SimMainframe(StateTable& table, Knobs& knobs);
    ~SimMainframe();
    SimMainframe(const SimMainframe&) = delete;
    SimMainframe& operator=(const SimMainframe&) = delete;

    // A FID addressed to driver `driverId` (the first word of its full name).
    void receive(const std::string& driverId, const std::string& name, const FIDParameterList& params);
    bool isActive(const std::string& driverId) const;
    size_t receivedCount(const std::string& driverId) const;

    // Drops every pending answer (before the module goes away).
    void cancelPending();

private:
    struct Answer {
        std::string key;
        std::string value;
        std::string driver;
        int reg;
        unsigned generation; // a STOP after the play time is dropped when a newer command came
    };
    using Clock = std::chrono::steady_clock;

    void schedule(Clock::time_point when, Answer answer);
    void run();

    StateTable& m_table;
    Knobs& m_knobs;
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::multimap<Clock::time_point, Answer> m_pending;
    std::map<std::string, unsigned> m_generations; // per "ID/REG"
    std::map<std::string, size_t> m_received;
    bool m_stopping = false;
    std::thread m_thread;
};

} // namespace panelhost
