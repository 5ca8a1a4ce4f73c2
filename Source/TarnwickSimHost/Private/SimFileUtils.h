// Reading the project's files, shared by the project loader and the package loader.
#pragma once
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace Tarnwick::Sim
{
/** The whole file as bytes; false when it cannot be opened. */
inline bool ReadTextFile(const std::filesystem::path& Path, std::string& Out)
{
	std::ifstream In(Path, std::ios::binary);
	if (!In) return false;
	std::ostringstream Buffer;
	Buffer << In.rdbuf();
	Out = Buffer.str();
	return true;
}
}
