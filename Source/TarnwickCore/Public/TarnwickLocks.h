// Cross-process locks that arbitrate between several editors and clients working on one project.
//
// Each lock is a JSON file under <Project>/Saved/Tarnwick/Locks holding the holder's owner, pid, namespace,
// action and lease. A lock whose holder process is gone, or whose lease has run out, is taken over.
// Read-modify-write of a lock file happens under an exclusive advisory lock on a sibling guard file, so two
// processes contending never both win.
#pragma once
#include "HostTypes.h"

#include <string>

struct FDecision
{
	/** Acquired, or restart permitted. */
	bool bAllowed = false;
	/** Lease seconds left on the holder's lock when refused; 0 when allowed. */
	int32 RetryAfterSeconds = 0;
	int32 HolderPid = 0;
	std::string HolderOwner;
	std::string HolderAction;
};

namespace TarnwickCompileLock
{
/** Takes the compile lock for Seconds (the lease). The same owner in the same process renews its own lock. */
FDecision TryAcquire(const std::string& Owner, const std::string& Namespace, const std::string& Action, int32 Seconds, int32 Pid);
/** Releases the lock if this process holds it under Owner; anything else is left alone. */
void Release(const std::string& Owner);
}

namespace TarnwickRestartLock
{
/** Allowed unless another owner restarted within its lease; when allowed, records Owner's lease for Seconds. */
FDecision CheckRestart(const std::string& Owner, int32 Seconds);
}

namespace Tarnwick::Locks
{
/** The folder the lock files live in (created on demand). */
std::string GetLockDir();
/** True while a process with that pid exists. */
bool IsProcessAlive(int32 Pid);
}
