// The project's folders, the engine's FPaths. The host sets the project directory once at start-up;
// every other folder derives from it. Paths are absolute, with a trailing '/'.
#pragma once
#include <string>

struct FPaths
{
	/** Sets the project root (the folder holding the .uproject). Relative paths are made absolute. */
	static void SetProjectDir(const std::string& Dir);
	static std::string ProjectDir();
	static std::string ProjectConfigDir();
	static std::string ProjectContentDir();
	static std::string ProjectSavedDir();
	static std::string ProjectLogDir();
	/** Joins two path fragments with exactly one '/'. */
	static std::string Combine(const std::string& A, const std::string& B);
};
