#pragma once

#include <string>

namespace obg::test {

/** Makes this the local time zone for the scope, for example "XYZ-5:30" for five and a half hours east of UTC. */
class TimeZone
{
public:
    explicit TimeZone(const std::string& zone);
    ~TimeZone();
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    std::string m_before;
};

} // namespace obg::test
