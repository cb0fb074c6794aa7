// Out-of-line parts of the shared interfaces, so that their type information
// and virtual tables live in one library.
#include "panelmfd/IInterface.h"
#include "panelmfd/PDLStateSubscriber.h"

IInterface::~IInterface() = default;

PDLStateSubscriber::~PDLStateSubscriber() = default;

bool PDLStateSubscriber::useEventManager() const
{
    return true;
}

void PDLStateSubscriber::updateDirect(const std::string&, const std::string&) {}

PDLEvent* PDLStateSubscriber::makeEvent(int)
{
    return nullptr;
}

PDLEvent* PDLStateSubscriber::makeTriggerEvent(int, const std::string&)
{
    return nullptr;
}

void PDLStateSubscriber::update() {}

void PDLStateSubscriber::triggerMFDriverEvent(const std::string&) {}

std::string PDLStateSubscriber::getDescription(int) const
{
    return "";
}

void PDLStateSubscriber::checkNewStateEntry(const std::string&) {}
