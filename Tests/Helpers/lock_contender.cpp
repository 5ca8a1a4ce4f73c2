// A second process for the lock tests: it takes and releases the project's locks as another editor would.
//
//   lock_contender <project dir> [command words...]
//
// Runs the command given on the command line (if any), then one command per stdin line until "exit" or end
// of input; it never releases anything on its way out, so a test can leave a lock behind on purpose. Each
// command answers with one JSON line on stdout:
//   acquire <owner> <seconds> [action]   TarnwickCompileLock::TryAcquire as this process -> the decision
//   release <owner>                      TarnwickCompileLock::Release                    -> {"released"}
//   restart <owner> <seconds>            TarnwickRestartLock::CheckRestart               -> the decision
// Owners are single words; "-" stands for the empty owner.
#include "Paths.h"
#include "TarnwickJson.h"
#include "TarnwickLocks.h"

#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <unistd.h>

namespace
{
FJson ToJson(const FDecision& Decision)
{
	FJson Json = FJson::object();
	Json["allowed"] = Decision.bAllowed;
	Json["retry_after_seconds"] = Decision.RetryAfterSeconds;
	Json["holder_pid"] = Decision.HolderPid;
	Json["holder_owner"] = Decision.HolderOwner;
	Json["holder_action"] = Decision.HolderAction;
	return Json;
}

std::string OwnerWord(const std::string& Word)
{
	return Word == "-" ? std::string() : Word;
}

/** False when the command asks the process to stop. */
bool Run(std::istringstream& Words)
{
	std::string Command, Owner, Action;
	int Seconds = 0;
	Words >> Command;
	FJson Reply = FJson::object();
	if (Command == "exit")
	{
		return false;
	}
	if (Command == "acquire" && Words >> Owner >> Seconds)
	{
		if (!(Words >> Action))
		{
			Action = "editor.trigger_build";
		}
		Reply = ToJson(TarnwickCompileLock::TryAcquire(OwnerWord(Owner), "editor", Action, Seconds, static_cast<int32>(::getpid())));
	}
	else if (Command == "release" && Words >> Owner)
	{
		TarnwickCompileLock::Release(OwnerWord(Owner));
		Reply["released"] = true;
	}
	else if (Command == "restart" && Words >> Owner >> Seconds)
	{
		Reply = ToJson(TarnwickRestartLock::CheckRestart(OwnerWord(Owner), Seconds));
	}
	else
	{
		Reply["error"] = "unknown command: " + Words.str();
	}
	std::cout << Reply.dump() << std::endl;
	return true;
}
}

int main(int Argc, char** Argv)
{
	if (Argc < 2)
	{
		std::cerr << "usage: lock_contender <project dir> [command...]\n";
		return 2;
	}
	FPaths::SetProjectDir(Argv[1]);

	if (Argc > 2)
	{
		std::string Line;
		for (int I = 2; I < Argc; ++I)
		{
			Line += std::string(I > 2 ? " " : "") + Argv[I];
		}
		std::istringstream Words(Line);
		if (!Run(Words))
		{
			return 0;
		}
	}
	for (std::string Line; std::getline(std::cin, Line);)
	{
		std::istringstream Words(Line);
		if (!Run(Words))
		{
			break;
		}
	}
	return 0;
}
