#pragma once

#include <cstdint>

/// The kind of a file that a manifest lists. The store keeps these numbers, so they are part of a file format: they
/// never change, and the gaps (6, 7, 12, 14, 15, 16) are never given to another kind.
enum ManifestFileType : std::uint32_t
{
    eFileTypeNone = 0,
    eFileTypeMsi = 1,
    eFileTypeExe = 2,
    eFileTypeL10n = 3,
    eFileTypeScript = 4,
    eFileTypeProfile = 5,
    eFileTypeMst = 8,
    eFileTypeTransform = 9,
    eFileTypeBinary = 10,
    eFileTypeResource = 11,
    eFileTypeDmg = 13,
    eFileTypeRpm = 17,
    eFileTypeDeb = 18,
};
