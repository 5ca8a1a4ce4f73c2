#include "SimConsole.h"

#include "FrameLoop.h"
#include "Printf.h"
#include "SimEditor.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>

namespace Tarnwick::Sim
{
namespace
{
constexpr const char* ResponseCategory = "LogConsoleResponse";

std::string Lower(const std::string& S)
{
	std::string Out = S;
	for (char& C : Out) C = static_cast<char>(std::tolower(static_cast<unsigned char>(C)));
	return Out;
}

void Print(FOutputDevice& Ar, const std::string& Text, ELogVerbosity::Type Verbosity = ELogVerbosity::Display)
{
	Ar.Log(ResponseCategory, Verbosity, Text);
}

bool ParseNumber(const std::string& Text, double& Out)
{
	if (Text.empty()) return false;
	char* End = nullptr;
	Out = std::strtod(Text.c_str(), &End);
	return End && *End == '\0' && std::isfinite(Out);
}

/** The viewport the console acts on for World. */
FSimViewport* ConsoleViewport(FSimEditor& Editor, FSimWorld* World)
{
	if (World && World == Editor.GetSimPlayWorld()) return dynamic_cast<FSimViewport*>(Editor.GetGameViewport());
	auto* Client = dynamic_cast<FSimLevelViewportClient*>(Editor.GetCurrentLevelEditingViewportClient());
	return Client ? &Client->Viewport : nullptr;
}

bool IsGameWorld(const FSimWorld* World)
{
	return World && (World->WorldType == EWorldType::PIE || World->WorldType == EWorldType::Game) && !World->bTearingDown;
}

bool ExecStat(FSimEditor& Editor, FSimWorld* World, const std::vector<std::string>& Words, FOutputDevice& Ar)
{
	if (Words.size() < 2) return false;
	const std::string Group = Lower(Words[1]);
	if (Group != "fps" && Group != "unit" && Group != "game" && Group != "none") return false;
	FSimViewport* Viewport = ConsoleViewport(Editor, World);
	if (!Viewport) return false;
	if (Group == "none")
	{
		Viewport->Stats.clear();
		return true;
	}
	const bool bShown = !Viewport->Stats.count(Group);
	if (bShown) Viewport->Stats.insert(Group);
	else Viewport->Stats.erase(Group);
	if (!bShown) return true;
	const double DeltaMs = FApp::GetDeltaTime() * 1000.0;
	if (Group == "fps")
	{
		Print(Ar, Tarnwick::Printf("%.2f FPS (%.2f ms)", DeltaMs > 0.0 ? 1000.0 / DeltaMs : 0.0, DeltaMs));
	}
	else if (Group == "unit")
	{
		// One thread does all the work here and nothing is drawn on a GPU, so the frame is the game thread's.
		Print(Ar, Tarnwick::Printf("Frame: %.2f ms  Game: %.2f ms  Draw: 0.00 ms  GPU: 0.00 ms", DeltaMs, DeltaMs));
	}
	else
	{
		int32 Actors = 0;
		if (World) Actors = static_cast<int32>(World->GetActors().size());
		Print(Ar, Tarnwick::Printf("World tick: %.2f ms  Actors: %d", DeltaMs, Actors));
	}
	return true;
}

bool ExecLog(const std::vector<std::string>& Words, FOutputDevice& Ar)
{
	if (Words.size() < 2)
	{
		Print(Ar, "Usage: log list | log <Category> [<Verbosity>]", ELogVerbosity::Warning);
		return true;
	}
	if (Lower(Words[1]) == "list")
	{
		for (FLogCategory* C : Tarnwick::Host::GetLogCategories()) Print(Ar, Tarnwick::Printf("%s %s", C->GetName().c_str(), ToString(C->GetVerbosity())));
		return true;
	}
	FLogCategory* Category = Tarnwick::Host::FindLogCategory(Words[1]);
	if (!Category)
	{
		Print(Ar, Tarnwick::Printf("Unknown log category '%s'", Words[1].c_str()), ELogVerbosity::Warning);
		return true;
	}
	if (Words.size() >= 3)
	{
		ELogVerbosity::Type V;
		if (!Tarnwick::Host::ParseLogVerbosity(Words[2], V) || V == ELogVerbosity::Fatal)
		{
			Print(Ar, Tarnwick::Printf("Unknown verbosity '%s' (expected NoLogging, Error, Warning, Display, Log, Verbose or VeryVerbose)",
						  Words[2].c_str()),
				ELogVerbosity::Warning);
			return true;
		}
		Tarnwick::Host::SetLogCategoryVerbosity(Category->GetName(), V);
	}
	Print(Ar, Tarnwick::Printf("%s %s", Category->GetName().c_str(), ToString(Category->GetVerbosity())));
	return true;
}

bool ExecEcho(const std::vector<std::string>& Words, const std::string& Cmd, FOutputDevice& Ar)
{
	if (Words.size() < 4)
	{
		Print(Ar, "Usage: echo <Category> <Verbosity> <text>", ELogVerbosity::Warning);
		return true;
	}
	ELogVerbosity::Type V;
	if (!Tarnwick::Host::ParseLogVerbosity(Words[2], V) || V == ELogVerbosity::Fatal || V == ELogVerbosity::NoLogging)
	{
		Print(Ar, Tarnwick::Printf("Unknown verbosity '%s' (expected Error, Warning, Display, Log, Verbose or VeryVerbose)", Words[2].c_str()),
			ELogVerbosity::Warning);
		return true;
	}
	// The text is everything after the verbosity, as typed (quotes around the whole text are dropped).
	size_t Pos = 0;
	for (int Word = 0; Word < 3; ++Word)
	{
		while (Pos < Cmd.size() && Cmd[Pos] == ' ') ++Pos;
		if (Pos < Cmd.size() && Cmd[Pos] == '"')
		{
			const size_t Close = Cmd.find('"', Pos + 1);
			Pos = Close == std::string::npos ? Cmd.size() : Close + 1;
		}
		else
		{
			while (Pos < Cmd.size() && Cmd[Pos] != ' ') ++Pos;
		}
	}
	while (Pos < Cmd.size() && Cmd[Pos] == ' ') ++Pos;
	std::string Text = Cmd.substr(Pos);
	while (!Text.empty() && Text.back() == ' ') Text.pop_back();
	if (Text.size() >= 2 && Text.front() == '"' && Text.back() == '"') Text = Text.substr(1, Text.size() - 2);
	FLogCategory& Category = FindOrAddLogCategory(Words[1]);
	if (!Category.IsSuppressed(V)) GLog->Serialize(Text, V, Category.GetName());
	return true;
}
}

FLogCategory& FindOrAddLogCategory(const std::string& Name)
{
	if (FLogCategory* Existing = Tarnwick::Host::FindLogCategory(Name)) return *Existing;
	static std::mutex Mutex;
	static std::map<std::string, std::unique_ptr<FLogCategory>> Added;
	std::lock_guard Lock(Mutex);
	auto& Slot = Added[Lower(Name)];
	if (!Slot) Slot = std::make_unique<FLogCategory>(Name);
	return *Slot;
}

std::vector<std::string> SplitConsoleCommand(const std::string& Line)
{
	std::vector<std::string> Words;
	size_t Pos = 0;
	while (Pos < Line.size())
	{
		while (Pos < Line.size() && std::isspace(static_cast<unsigned char>(Line[Pos]))) ++Pos;
		if (Pos >= Line.size()) break;
		if (Line[Pos] == '"')
		{
			const size_t Close = Line.find('"', Pos + 1);
			Words.push_back(Line.substr(Pos + 1, (Close == std::string::npos ? Line.size() : Close) - Pos - 1));
			Pos = Close == std::string::npos ? Line.size() : Close + 1;
			continue;
		}
		const size_t Start = Pos;
		while (Pos < Line.size() && !std::isspace(static_cast<unsigned char>(Line[Pos]))) ++Pos;
		Words.push_back(Line.substr(Start, Pos - Start));
	}
	return Words;
}

bool ExecConsoleCommand(FSimEditor& Editor, FSimWorld* World, const std::string& Cmd, FOutputDevice& Ar)
{
	const std::vector<std::string> Words = SplitConsoleCommand(Cmd);
	if (Words.empty()) return false;
	const std::string Verb = Lower(Words[0]);

	if (Verb == "pause")
	{
		if (!IsGameWorld(World) || !World->GetFirstPlayerController()) return false;
		World->SetGamePaused(!World->IsPaused());
		return true;
	}
	if (Verb == "slomo")
	{
		if (!IsGameWorld(World)) return false;
		double Dilation = 0.0;
		if (Words.size() < 2 || !ParseNumber(Words[1], Dilation))
		{
			Print(Ar, "Usage: slomo <time dilation>", ELogVerbosity::Warning);
			return true;
		}
		World->SetGlobalTimeDilation(Dilation);
		return true;
	}
	if (Verb == "stat") return ExecStat(Editor, World, Words, Ar);
	if (Verb == "log") return ExecLog(Words, Ar);
	if (Verb == "echo") return ExecEcho(Words, Cmd, Ar);
	if (Verb.rfind("showflag.", 0) == 0)
	{
		std::string Flag;
		bool bDefault = false;
		FSimViewport* Viewport = ConsoleViewport(Editor, World);
		if (!Viewport || !FindShowFlag(Verb.substr(9), Flag, bDefault)) return false;
		const std::string Key = Lower(Flag);
		if (Words.size() < 2)
		{
			const auto It = Viewport->ShowFlags.find(Key);
			Print(Ar, Tarnwick::Printf("ShowFlag.%s = %d", Flag.c_str(), (It == Viewport->ShowFlags.end() ? bDefault : It->second) ? 1 : 0));
			return true;
		}
		if (Words[1] == "0") Viewport->ShowFlags[Key] = false;
		else if (Words[1] == "1") Viewport->ShowFlags[Key] = true;
		else if (Words[1] == "2") Viewport->ShowFlags.erase(Key);
		else
		{
			Print(Ar, Tarnwick::Printf("ShowFlag.%s: expected 0 (off), 1 (on) or 2 (default)", Flag.c_str()), ELogVerbosity::Warning);
			return true;
		}
		Viewport->Invalidate();
		return true;
	}
	if (Verb == "viewmode")
	{
		int32 Index = 0;
		if (Words.size() < 2 || !FindViewModeByConsoleName(Words[1], Index)) return false;
		if (World && World == Editor.GetSimPlayWorld())
		{
			if (auto* Game = dynamic_cast<FSimViewport*>(Editor.GetGameViewport()))
			{
				Game->ViewModeIndex = Index;
				Game->Invalidate();
			}
		}
		else if (FEditorViewportClient* Client = Editor.GetCurrentLevelEditingViewportClient())
		{
			Client->SetViewModeIndex(Index);
		}
		return true;
	}
	if (Verb == "exit" || Verb == "quit")
	{
		if (!World || World != Editor.GetSimPlayWorld()) return false;
		Editor.RequestEndPlayMap();
		return true;
	}
	return false;
}
}
