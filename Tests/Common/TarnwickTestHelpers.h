// Shared test fixtures: a clean registry state per test and a project folder on disk.
#pragma once
#include "Paths.h"
#include "TarnwickAsyncJobRegistry.h"
#include "TarnwickPromptRegistry.h"
#include "TarnwickResourceRegistry.h"
#include "TarnwickToolCallLog.h"
#include "TarnwickToolRegistry.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace Tarnwick::Test
{
/** A fresh temporary folder, removed when the object goes away. */
class FTempDir
{
public:
	FTempDir()
	{
		std::random_device Rd;
		Path = std::filesystem::temp_directory_path() / ("tarnwick-test-" + std::to_string(Rd()) + std::to_string(Rd()));
		std::filesystem::create_directories(Path);
	}
	~FTempDir()
	{
		std::error_code Ec;
		std::filesystem::remove_all(Path, Ec);
	}
	const std::filesystem::path& Get() const { return Path; }
	std::string Str() const { return Path.string(); }
	void Write(const std::string& Relative, const std::string& Text) const
	{
		const auto File = Path / Relative;
		std::filesystem::create_directories(File.parent_path());
		std::ofstream(File) << Text;
	}

private:
	std::filesystem::path Path;
};

/** Empties every core registry before and after a test. */
class FRegistryTest : public ::testing::Test
{
protected:
	void SetUp() override { ResetAll(); }
	void TearDown() override { ResetAll(); }
	static void ResetAll()
	{
		FTarnwickToolRegistry::Get().ResetForTests();
		FTarnwickAsyncJobRegistry::Get().ResetForTests();
		FTarnwickToolCallLog::Get().ResetForTests();
		FTarnwickResourceRegistry::Get().UnregisterAll();
		FTarnwickPromptRegistry::Get().UnregisterAll();
	}
};
}
