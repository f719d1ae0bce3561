#pragma once

#include <cstdarg>
#include <cstddef>

/// Byte-string functions that never overrun a buffer and always terminate what they write. `size` is the capacity of
/// the destination in bytes, its terminator included. None of them logs, allocates or keeps state, so all may be called
/// from several threads at once.

/// Length of `s` in bytes, looking at no more than `max` of them.
/// Gives `max` when there is no terminator among them, 0 when `s` is null.
std::size_t safe_strnlenA(const char* s, std::size_t max);

/// Copies as much of `src` as fits into `dst` and terminates it.
/// Gives the length of `src` bounded by `size`, so `size` itself means that the text was cut; never the full length of
/// a longer source. Writes nothing when `dst` is null or `size` is 0; gives 0 when `src` is null.
std::size_t safe_strlcpyA(char* dst, const char* src, std::size_t size);

/// Appends as much of `src` as fits to the text in `dst` and terminates it.
/// Gives the sum of both lengths, each bounded by `size`. Gives `size` and writes nothing when `dst` or `src` is null
/// or `dst` holds no terminator within `size` bytes.
std::size_t safe_strlcatA(char* dst, const char* src, std::size_t size);

/// Points to the first byte of `s`, among its first `max` bytes and before its terminator, that occurs in `reject`.
/// Gives a pointer, not a count, and null when there is no such byte or `s` or `reject` is null.
const char* safe_strlcspnA(const char* s, const char* reject, std::size_t max);

/// Formats into `buffer`, cuts what does not fit and terminates it.
/// Gives the length of the whole text, which is `size` or more when it was cut; gives `size` and writes nothing when
/// `buffer` or `format` is null or `size` is 0, and gives `size` when the formatter reports an error.
[[gnu::format(printf, 3, 0)]] std::size_t safe_vsnprintfA(char* buffer, std::size_t size, const char* format,
                                                          std::va_list arguments);

/// safe_vsnprintfA with its arguments written out.
[[gnu::format(printf, 3, 4)]] std::size_t safe_snprintfA(char* buffer, std::size_t size, const char* format, ...);
