// One lease file under the project's lock folder, shared by the compile lock and the restart lock: taking
// a lease and releasing it, each as one read-modify-write under an exclusive flock() on a sibling ".guard"
// file. The lock file itself is only ever replaced whole (temp file, then rename), so a reader outside the
// guard never sees half a record.
//
// When the lock folder cannot be used at all (no permission, read-only disk) the lease is granted with a
// warning: the locks only keep agents from stepping on each other, and a broken Saved folder must not stop
// every compile and restart for good.
#pragma once
#include "LockRecord.h"

#include <string>

namespace Tarnwick::Locks
{
/**
 * Gives Wanted.Owner in process Wanted.Pid the lease in FileName (a name inside the lock folder) for
 * LeaseSeconds from now, unless another live holder's lease is still running. Label names the lock in logs.
 */
FDecision TakeLease(const char* FileName, const char* Label, FLockRecord Wanted, int32 LeaseSeconds);

/** Removes the lock file when Owner in process Pid holds it; leaves any other holder's record alone. */
void ReleaseLease(const char* FileName, const char* Label, const std::string& Owner, int32 Pid);
}
