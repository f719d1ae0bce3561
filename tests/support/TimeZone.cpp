#include "tests/support/TimeZone.h"

#include <cstdlib>
#include <ctime>

namespace obg::test {

namespace {

void setTimeZone(const std::string& zone)
{
    setenv("TZ", zone.c_str(), 1);
    tzset();
}

} // namespace

TimeZone::TimeZone(const std::string& zone) : m_before(std::getenv("TZ"))
{
    setTimeZone(zone);
}

TimeZone::~TimeZone()
{
    setTimeZone(m_before);
}

} // namespace obg::test
