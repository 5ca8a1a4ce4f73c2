#include "LockFile.h"

#include "Paths.h"
#include "PlatformTime.h"
#include "TarnwickLog.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

namespace Tarnwick::Locks
{
namespace
{
/** Holds an exclusive flock() on a guard file for its lifetime; IsHeld() is false when it could not be taken. */
class FGuardLock
{
public:
	explicit FGuardLock(const std::string& Path)
	{
		Fd = ::open(Path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
		if (Fd < 0)
		{
			Error = errno;
			return;
		}
		while (::flock(Fd, LOCK_EX) != 0)
		{
			if (errno != EINTR)
			{
				Error = errno;
				::close(Fd);
				Fd = -1;
				return;
			}
		}
	}
	~FGuardLock()
	{
		if (Fd >= 0)
		{
			::close(Fd); // closing drops the flock
		}
	}
	FGuardLock(const FGuardLock&) = delete;
	FGuardLock& operator=(const FGuardLock&) = delete;

	bool IsHeld() const { return Fd >= 0; }
	int GetError() const { return Error; }

private:
	int Fd = -1;
	int Error = 0;
};

enum class EReadState : uint8
{
	Missing,
	Valid,
	Corrupt,
};

EReadState ReadRecord(const std::string& Path, FLockRecord& OutRecord)
{
	std::ifstream In(Path, std::ios::binary);
	if (!In.is_open())
	{
		std::error_code Ec;
		return std::filesystem::exists(Path, Ec) || Ec ? EReadState::Corrupt : EReadState::Missing;
	}
	const std::string Text{std::istreambuf_iterator<char>(In), std::istreambuf_iterator<char>()};
	std::optional<FLockRecord> Record = In.bad() ? std::nullopt : ParseLockRecord(Text);
	if (!Record)
	{
		return EReadState::Corrupt;
	}
	OutRecord = std::move(*Record);
	return EReadState::Valid;
}

bool WriteRecord(const std::string& Path, const FLockRecord& Record)
{
	const std::string TempPath = Path + ".tmp";
	{
		std::ofstream Out(TempPath, std::ios::binary | std::ios::trunc);
		Out << WriteLockRecord(Record);
		Out.close();
		if (!Out)
		{
			std::error_code Ignored;
			std::filesystem::remove(TempPath, Ignored);
			return false;
		}
	}
	std::error_code Ec;
	std::filesystem::rename(TempPath, Path, Ec);
	if (Ec)
	{
		std::error_code Ignored;
		std::filesystem::remove(TempPath, Ignored);
		return false;
	}
	return true;
}

const char* Describe(ELeaseVerdict Verdict)
{
	switch (Verdict)
	{
	case ELeaseVerdict::HolderGone: return "its holder process is gone";
	case ELeaseVerdict::LeaseExpired: return "its lease ran out";
	default: return "";
	}
}
}

std::string GetLockDir()
{
	const std::string Dir = FPaths::ProjectSavedDir() + "Tarnwick/Locks/";
	std::error_code Ec;
	std::filesystem::create_directories(Dir, Ec);
	return Dir;
}

bool IsProcessAlive(int32 Pid)
{
	// kill() with pid 0 or a negative pid addresses process groups, never a single process.
	if (Pid <= 0)
	{
		return false;
	}
	return ::kill(Pid, 0) == 0 || errno == EPERM;
}

FDecision TakeLease(const char* FileName, const char* Label, FLockRecord Wanted, int32 LeaseSeconds)
{
	FDecision Allowed;
	Allowed.bAllowed = true;

	const std::string Dir = GetLockDir();
	const std::string Path = Dir + FileName;
	const FGuardLock Guard(Path + ".guard");
	if (!Guard.IsHeld())
	{
		TW_LOG(LogTarnwick, Warning, "%s: cannot lock %s.guard (%s); proceeding without the lock", Label, Path.c_str(),
			std::strerror(Guard.GetError()));
		return Allowed;
	}

	const double Now = Tarnwick::Host::GetClock().UtcNow();
	FLockRecord Current;
	const EReadState State = ReadRecord(Path, Current);
	if (State == EReadState::Corrupt)
	{
		TW_LOG(LogTarnwick, Warning, "%s: %s is unreadable or not a lock record; replacing it", Label, Path.c_str());
	}

	std::optional<FLockRecord> Holder;
	if (State == EReadState::Valid)
	{
		Holder = Current;
	}
	const bool bHolderAlive = Holder && IsProcessAlive(Holder->Pid);
	const ELeaseVerdict Verdict = EvaluateLease(Holder, Wanted.Owner, Wanted.Pid, Now, bHolderAlive);
	if (Verdict == ELeaseVerdict::Held)
	{
		return MakeRefusal(*Holder, Now);
	}
	if (Verdict == ELeaseVerdict::HolderGone || Verdict == ELeaseVerdict::LeaseExpired)
	{
		TW_LOG(LogTarnwick, Log, "%s: taking over from '%s' (pid %d, %s) because %s", Label, Holder->Owner.c_str(),
			Holder->Pid, Holder->Action.c_str(), Describe(Verdict));
	}

	Wanted.AcquiredUtc = Now;
	Wanted.LeaseUntilUtc = Now + std::max(1, LeaseSeconds);
	if (!WriteRecord(Path, Wanted))
	{
		TW_LOG(LogTarnwick, Warning, "%s: cannot write %s; proceeding without the lock", Label, Path.c_str());
	}
	return Allowed;
}

void ReleaseLease(const char* FileName, const char* Label, const std::string& Owner, int32 Pid)
{
	const std::string Path = GetLockDir() + FileName;
	const FGuardLock Guard(Path + ".guard");
	if (!Guard.IsHeld())
	{
		TW_LOG(LogTarnwick, Warning, "%s: cannot lock %s.guard (%s); not releasing", Label, Path.c_str(),
			std::strerror(Guard.GetError()));
		return;
	}

	FLockRecord Current;
	if (ReadRecord(Path, Current) != EReadState::Valid || Current.Owner != Owner || Current.Pid != Pid)
	{
		return;
	}
	std::error_code Ec;
	if (!std::filesystem::remove(Path, Ec) && Ec)
	{
		TW_LOG(LogTarnwick, Warning, "%s: cannot remove %s (%s)", Label, Path.c_str(), Ec.message().c_str());
	}
}
}
