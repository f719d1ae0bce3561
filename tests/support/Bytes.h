#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace obg::test {

/**
 * The bytes written as pairs of hexadecimal digits; white space between pairs is free.
 * Anything else fails the test and gives an empty text.
 */
std::string fromHex(std::string_view digits);

/** The bytes as lower-case pairs with one blank between them: "01 00 ff". */
std::string toHex(std::string_view bytes);

// The pieces of a store, so that a test can put one together field by field:
//
//     storeHeader() + u32le(2) + field("1.2.3") + field("core")

/** Four bytes, least significant first. */
std::string u32le(std::uint32_t value);

/** A text as the store keeps it: its length with the closing NUL, the text, the NUL. */
std::string field(std::string_view text);

/** The eight bytes before the first record. */
std::string storeHeader(std::uint32_t major = 1, std::uint32_t minor = 0);

/** One record: type, version, file id. */
std::string storeRecord(std::uint32_t type, std::string_view version, std::string_view fileId);

} // namespace obg::test
