// The questions of osverapi.h that only other platforms can answer with yes.

#include "vpn/Common/Utility/osverapi.h"

bool CheckOsVersion(unsigned char /*major*/, unsigned char /*minor*/)
{
    return false;
}

bool IsOs_WINNT_XP()
{
    return false;
}

bool IsOs_WINNT_XP_Only()
{
    return false;
}

bool IsOs_WINNT_XP_HomeEdition()
{
    return false;
}

bool IsOs_WINNT_2K3_Only()
{
    return false;
}

bool IsOs_Wow64()
{
    return false;
}

bool IsOs_Wow64_ARM64()
{
    return false;
}

bool IsOs_WIN_VISTA()
{
    return false;
}

bool IsOs_WIN_VISTA_Only()
{
    return false;
}

bool IsOs_WIN_7()
{
    return false;
}

bool IsOs_WIN_7_Only()
{
    return false;
}

bool IsOs_WIN_7_SP1()
{
    return false;
}

bool IsOs_WIN_8()
{
    return false;
}

bool IsOs_WIN_8_Only()
{
    return false;
}

bool IsOs_WIN_8Point10()
{
    return false;
}

bool IsOs_WIN_8Point10_Only()
{
    return false;
}

bool IsOs_WIN_10()
{
    return false;
}

bool IsOs_WIN_10_Only()
{
    return false;
}

bool IsOs_WIN_11()
{
    return false;
}

bool IsOs_WIN_11_Only()
{
    return false;
}

bool IsOs_WIN_Server()
{
    return false;
}

bool IsOs_MAC()
{
    return false;
}

bool IsOS_MacOSX_10_9_OrGreater()
{
    return false;
}

bool IsOS_MacOSX_10_10_OrGreater()
{
    return false;
}

bool IsOS_MacOSX_10_11_OrGreater()
{
    return false;
}

bool IsOS_MacOSX_With_ARP_Bug()
{
    return false;
}

bool IsOS_MacOSX_10_12_OrGreater()
{
    return false;
}

bool IsOS_MacOSX_10_13_OrGreater()
{
    return false;
}

bool IsOS_MacOSX_10_15_OrGreater()
{
    return false;
}

bool IsOS_MacOS_11_OrGreater()
{
    return false;
}

bool IsOS_MacOS_13_OrGreater()
{
    return false;
}

bool IsOS_MacOS_13_2_OrGreater()
{
    return false;
}

bool IsOs_AppleIOS()
{
    return false;
}

bool IsOS_AppleIOS_7_OrGreater()
{
    return false;
}

bool IsOS_AppleIOS_10_OrGreater()
{
    return false;
}

bool IsOS_AppleIOS_12_OrGreater()
{
    return false;
}

bool IsOs_WindowsPhone()
{
    return false;
}

bool IsOs_Android()
{
    return false;
}

bool IsOs_ChromeOS()
{
    return false;
}
