#include "LockFile.h"
#include "TarnwickLocks.h"

#include <unistd.h>

namespace TarnwickCompileLock
{
namespace
{
constexpr const char* FileName = "compile.lock";
constexpr const char* Label = "Compile lock";
}

FDecision TryAcquire(const std::string& Owner, const std::string& Namespace, const std::string& Action, int32 Seconds, int32 Pid)
{
	Tarnwick::Locks::FLockRecord Wanted;
	Wanted.Owner = Owner;
	Wanted.Pid = Pid;
	Wanted.Namespace = Namespace;
	Wanted.Action = Action;
	return Tarnwick::Locks::TakeLease(FileName, Label, std::move(Wanted), Seconds);
}

void Release(const std::string& Owner)
{
	Tarnwick::Locks::ReleaseLease(FileName, Label, Owner, static_cast<int32>(::getpid()));
}
}
