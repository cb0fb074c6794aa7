#pragma once

#include <string>

#include "panelkit/Export.h"

class PDLEvent;

// Receives state changes from an IPSPublisher.
class PANEL_API PDLStateSubscriber {
public:
    virtual ~PDLStateSubscriber();
    virtual bool useEventManager() const;
    virtual void updateDirect(const std::string& key, const std::string& value);
    virtual PDLEvent* makeEvent(int id);
    virtual PDLEvent* makeTriggerEvent(int id, const std::string& value);
    virtual void update();
    virtual void triggerMFDriverEvent(const std::string& name);
    virtual std::string getDescription(int id) const;
    virtual void checkNewStateEntry(const std::string& key);
};
