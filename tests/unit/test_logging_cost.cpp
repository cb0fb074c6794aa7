// A log statement below the active level costs a level test and nothing
// else: no formatting and no allocation, in both logging front ends.

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "oskit/LogBackend.h"
#include "oskit/LogManager.h"
#include "panelsys/Logging.h"

namespace {
thread_local long t_allocations = 0;
}

// The replacements pair malloc with free; GCC sees only the operator names.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

void* operator new(std::size_t size)
{
    ++t_allocations;
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size)
{
    ++t_allocations;
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace {

// Counts a type's formatting into a stream that takes text. (An std::ostream
// front end still calls a type's operator<<, but into a stream that refuses
// every insertion, so nothing is formatted.)
struct Expensive {
    static inline int formatted = 0;
};
std::ostream& operator<<(std::ostream& os, const Expensive&)
{
    if (os.good()) ++Expensive::formatted;
    return os << "expensive";
}

class LoggingCost : public ::testing::Test {
protected:
    void SetUp() override
    {
        oskit::LogManager::createInstance();
        oskit::logbackend::useNone();
        m_previous = oskit::logbackend::getLevel();
        oskit::logbackend::setLevel(oskit::logbackend::Level::Error);
        Expensive::formatted = 0;
    }
    void TearDown() override { oskit::logbackend::setLevel(m_previous); }

private:
    oskit::logbackend::Level m_previous = oskit::logbackend::Level::Info;
};

} // namespace

TEST_F(LoggingCost, CategoryStatementBelowTheLevelAllocatesAndFormatsNothing)
{
    using Norvane::Utilities::Logging::LogManager;
    auto& category = LogManager::getInstance().getCategory("Cost");
    const Expensive value;
    const long before = t_allocations;
    for (int i = 0; i < 100; ++i) category.getDebugStream() << "value " << i << ' ' << 2.5 << value;
    EXPECT_EQ(t_allocations - before, 0);
    EXPECT_EQ(Expensive::formatted, 0);
}

TEST_F(LoggingCost, OutputStatementBelowTheLevelAllocatesAndFormatsNothing)
{
    oskit::LogOutput* output = oskit::LogManager::getInstance()->getLogOutput("Cost");
    const Expensive value;
    output->level(oskit::LOG_DEBUG) << "warm up" << std::endl;
    const long before = t_allocations;
    for (int i = 0; i < 100; ++i) output->level(oskit::LOG_DEBUG) << "value " << i << ' ' << value << std::endl;
    EXPECT_EQ(t_allocations - before, 0);
    EXPECT_EQ(Expensive::formatted, 0);
}

TEST_F(LoggingCost, StatementAtTheLevelIsFormatted)
{
    using Norvane::Utilities::Logging::LogManager;
    const Expensive value;
    LogManager::getInstance().getCategory("Cost").getErrorStream() << value;
    EXPECT_EQ(Expensive::formatted, 1);
}
