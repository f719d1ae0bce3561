#pragma once

#include "ctl/Outcome.h"

#include <string>

namespace ctl {

/// Standard output of a command that changes the disk.
///
/// The exit status of a result that cannot be written says that nothing was changed. So the result is written when all
/// that the change needs lies ready, but before it is made: a full disk, or a reader that has gone, then stops it. The
/// rename that makes the change may still fail; that the result does not hold is said then.
///
/// A terminal gets it when the locks have been given back, as its user may stop it for as long as he likes. One that
/// has hung up is none: writing to it fails like any other.
class Delivery
{
public:
    /// Writes the result, or keeps it for a terminal. To be called once, before the change. False when it could not be
    /// written: the change must not be made.
    bool take(std::string result);

    /// How the command ends, which has given its locks back; NotDone when take() was false. Complains of what became of
    /// the result.
    Outcome outcome(ExitStatus status);

private:
    bool m_isWritten = false;
    int m_error = 0;
    /// What a terminal is still to get.
    std::string m_kept;
};

} // namespace ctl
