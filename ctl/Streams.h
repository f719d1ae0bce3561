#pragma once

#include <string_view>

namespace ctl {

/// Occupies each standard stream that the caller has closed, so that no file opened later gets its number. A result
/// that is written to such a stream fails, as it does without this.
void holdStandardStreams();

/// A reader of the output that goes away, and a limit on the size of files, make the write fail instead of ending the
/// process.
void ignoreSignalsOfWrites();

/// Writes all of it to standard output. False, with errno set, when any of it could not be written.
bool writeResult(std::string_view text);

/// Writes "obg_manifestctl: TEXT" and a line end to standard error. What is not printable in TEXT is escaped, so it may
/// hold names and texts as they were read.
void complain(std::string_view text);

/// Shows a line on standard error that stands only until something else is written there, or until it is shown anew;
/// an empty one takes it away. A terminal that is stopped is not waited for: the work may hold a lock. May be called by
/// any thread.
void showStatus(std::string_view line);

/// Complains that something could not be done with a file, the system's reason in words:
/// "cannot read /opt/x: Permission denied".
void complain(std::string_view what, std::string_view path, int error);

} // namespace ctl
