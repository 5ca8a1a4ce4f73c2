// Helpers shared by the simulated editor's tests: a host on the virtual clock over a project folder, a
// throwaway project folder to write broken files into, and a log device that records what it is sent.
#pragma once
#include "Logging.h"
#include "SimHost.h"
#include "Ticker.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace Tarnwick::Sim::Test
{
inline std::string ArenaDir() { return std::string(TARNWICK_SOURCE_DIR) + "/Samples/Arena"; }

inline std::unique_ptr<FSimHost> MakeHost(const std::string& ProjectDir, FSimHostOptions Options = FSimHostOptions())
{
	Options.ProjectDir = ProjectDir;
	Options.ClockMode = ESimClockMode::Virtual;
	Options.VirtualUtcStart = 1700000000.0;
	std::string Error;
	std::unique_ptr<FSimHost> Host = FSimHost::Create(Options, &Error);
	EXPECT_TRUE(Host) << Error;
	return Host;
}

inline std::unique_ptr<FSimHost> MakeArenaHost(FSimHostOptions Options = FSimHostOptions()) { return MakeHost(ArenaDir(), Options); }

/** A project folder under the system temp dir, removed at the end of the test. */
class FTempProject
{
public:
	explicit FTempProject(const std::string& Name = "Test")
	{
		static int Counter = 0;
		Dir = std::filesystem::temp_directory_path() /
			("tarnwick_simhost_" + std::to_string(::getpid()) + "_" + std::to_string(Counter++));
		std::filesystem::remove_all(Dir);
		std::filesystem::create_directories(Dir / "Content");
		std::filesystem::create_directories(Dir / "Config");
		Write(Name + ".uproject", R"({"FileVersion": 3, "EngineAssociation": "5.4"})");
	}
	~FTempProject() { std::filesystem::remove_all(Dir); }
	void Write(const std::string& Relative, const std::string& Text) const
	{
		std::filesystem::create_directories((Dir / Relative).parent_path());
		std::ofstream(Dir / Relative, std::ios::binary) << Text;
	}
	std::string Path() const { return Dir.string(); }

private:
	std::filesystem::path Dir;
};

/** Records every line sent to it, with the sending thread; used one caller at a time like the engine's devices. */
class FLogRecorder final : public FOutputDevice
{
public:
	struct FLine
	{
		std::string Category;
		ELogVerbosity::Type Verbosity;
		std::string Message;
		std::thread::id Thread;
	};

	FLogRecorder() { GLog->AddOutputDevice(this); }
	~FLogRecorder() override { GLog->RemoveOutputDevice(this); }

	void Serialize(std::string_view Message, ELogVerbosity::Type Verbosity, std::string_view Category, double) override
	{
		if (bInside.exchange(true)) bOverlap = true;
		{
			std::lock_guard Lock(Mutex);
			Lines.push_back(FLine{std::string(Category), Verbosity, std::string(Message), std::this_thread::get_id()});
		}
		bInside = false;
	}

	std::vector<FLine> Snapshot() const
	{
		std::lock_guard Lock(Mutex);
		return Lines;
	}
	bool Has(const std::string& Category, const std::string& Fragment) const
	{
		for (const FLine& L : Snapshot())
		{
			if (L.Category == Category && L.Message.find(Fragment) != std::string::npos) return true;
		}
		return false;
	}
	/** Index of the first line with this category and fragment, or -1. */
	int IndexOf(const std::string& Category, const std::string& Fragment) const
	{
		const std::vector<FLine> All = Snapshot();
		for (size_t I = 0; I < All.size(); ++I)
		{
			if (All[I].Category == Category && All[I].Message.find(Fragment) != std::string::npos) return static_cast<int>(I);
		}
		return -1;
	}

	std::atomic<bool> bInside{false};
	std::atomic<bool> bOverlap{false};

private:
	mutable std::mutex Mutex;
	std::vector<FLine> Lines;
};

/** Finds an actor of a world by object name. */
inline AActor* FindActor(UWorld* World, const std::string& Name)
{
	if (!World) return nullptr;
	for (AActor* A : World->GetActors())
	{
		if (A->GetName() == Name) return A;
	}
	return nullptr;
}

/** Reads a property by name; fails the test when the class has no such property. */
inline FPropertyValue ReadProperty(const UObject* Object, const std::string& Name)
{
	FPropertyValue V;
	const FProperty* P = Object ? Object->GetClass()->FindPropertyByName(Name) : nullptr;
	EXPECT_TRUE(P) << "no property " << Name;
	if (P)
	{
		EXPECT_TRUE(Object->GetPropertyValue(*P, V));
	}
	return V;
}
}
