#include "Paths.h"

#include <filesystem>
#include <mutex>

namespace
{
std::mutex GPathsMutex;
std::string GProjectDir;

std::string WithSlash(std::string Dir)
{
	if (Dir.empty() || Dir.back() != '/')
	{
		Dir.push_back('/');
	}
	return Dir;
}
}

void FPaths::SetProjectDir(const std::string& Dir)
{
	std::error_code Ec;
	std::filesystem::path Abs = std::filesystem::absolute(Dir, Ec);
	std::lock_guard Lock(GPathsMutex);
	GProjectDir = WithSlash((Ec ? std::filesystem::path(Dir) : Abs).lexically_normal().generic_string());
}

std::string FPaths::ProjectDir()
{
	std::lock_guard Lock(GPathsMutex);
	if (GProjectDir.empty())
	{
		std::error_code Ec;
		GProjectDir = WithSlash(std::filesystem::current_path(Ec).generic_string());
	}
	return GProjectDir;
}

std::string FPaths::ProjectConfigDir() { return ProjectDir() + "Config/"; }
std::string FPaths::ProjectContentDir() { return ProjectDir() + "Content/"; }
std::string FPaths::ProjectSavedDir() { return ProjectDir() + "Saved/"; }
std::string FPaths::ProjectLogDir() { return ProjectSavedDir() + "Logs/"; }

std::string FPaths::Combine(const std::string& A, const std::string& B)
{
	if (A.empty()) return B;
	if (B.empty()) return A;
	const bool ASlash = A.back() == '/';
	const bool BSlash = B.front() == '/';
	if (ASlash && BSlash) return A + B.substr(1);
	if (ASlash || BSlash) return A + B;
	return A + "/" + B;
}
