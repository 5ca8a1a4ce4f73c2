#include "LockFile.h"
#include "TarnwickLocks.h"

#include <unistd.h>

namespace TarnwickRestartLock
{
FDecision CheckRestart(const std::string& Owner, int32 Seconds)
{
	// The lease is never released: it is the quiet period after a restart during which other agents are
	// told the editor is in use. Only the editor action restarts, hence the fixed namespace and action.
	Tarnwick::Locks::FLockRecord Wanted;
	Wanted.Owner = Owner;
	Wanted.Pid = static_cast<int32>(::getpid());
	Wanted.Namespace = "editor";
	Wanted.Action = "editor.restart";
	return Tarnwick::Locks::TakeLease("restart.lock", "Restart lock", std::move(Wanted), Seconds);
}
}
