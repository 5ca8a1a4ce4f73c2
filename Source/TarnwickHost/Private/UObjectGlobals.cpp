#include "UObjectGlobals.h"

#include "Paths.h"

#include <atomic>

namespace
{
std::atomic<IObjectSystem*> GObjectSystem{nullptr};
}

namespace Tarnwick::Host
{
void SetObjectSystem(IObjectSystem* System) { GObjectSystem.store(System); }
IObjectSystem* GetObjectSystem() { return GObjectSystem.load(); }
}

bool FPackageName::IsValidLongPackageName(const std::string& Name, std::string* OutReason)
{
	auto Fail = [&](const char* Reason) {
		if (OutReason) *OutReason = Reason;
		return false;
	};
	if (Name.empty()) return Fail("the name is empty");
	if (Name.front() != '/') return Fail("a long package name starts with '/'");
	if (Name.back() == '/') return Fail("a long package name does not end with '/'");
	if (Name.find("//") != std::string::npos) return Fail("a long package name has no empty path element");
	static constexpr std::string_view Invalid = "\\:*?\"<>|' ,.&!~\n\r\t@#";
	if (Name.find_first_of(Invalid) != std::string::npos) return Fail("the name contains a character a package name cannot have");
	if (Name.find('/', 1) == std::string::npos) return Fail("a long package name has a mount point and an asset name, like /Game/Name");
	return true;
}

std::string FPackageName::GetShortName(const std::string& LongPackageName)
{
	const size_t Slash = LongPackageName.rfind('/');
	return Slash == std::string::npos ? LongPackageName : LongPackageName.substr(Slash + 1);
}

std::string FPackageName::ObjectPathToPackageName(const std::string& ObjectPath)
{
	const size_t Dot = ObjectPath.find('.');
	return Dot == std::string::npos ? ObjectPath : ObjectPath.substr(0, Dot);
}

std::string FPackageName::ObjectPathToObjectName(const std::string& ObjectPath)
{
	const size_t Dot = ObjectPath.find('.');
	if (Dot == std::string::npos) return std::string();
	const size_t End = ObjectPath.find_first_of(".:", Dot + 1);
	return ObjectPath.substr(Dot + 1, End == std::string::npos ? std::string::npos : End - Dot - 1);
}

bool FPackageName::DoesPackageExist(const std::string& LongPackageName)
{
	IObjectSystem* System = Tarnwick::Host::GetObjectSystem();
	return System && IsValidLongPackageName(LongPackageName) && System->DoesPackageExist(LongPackageName);
}

bool FPackageName::TryConvertLongPackageNameToFilename(const std::string& LongPackageName, std::string& OutFilename)
{
	IObjectSystem* System = Tarnwick::Host::GetObjectSystem();
	return System && System->TryConvertLongPackageNameToFilename(LongPackageName, OutFilename);
}

bool FPackageName::TryConvertLongPackageFolderToDirectory(const std::string& PackageFolder, std::string& OutDirectory)
{
	static const std::string GameRoot = "/Game/";
	if (PackageFolder.compare(0, GameRoot.size(), GameRoot) != 0) return false;
	std::string Relative = PackageFolder.substr(GameRoot.size());
	if (!Relative.empty() && Relative.back() != '/') Relative += '/';
	size_t Start = 0;
	while (Start < Relative.size())
	{
		const size_t End = Relative.find('/', Start);
		const std::string Element = Relative.substr(Start, End - Start);
		if (Element.empty() || Element == "." || Element == "..") return false;
		Start = End + 1;
	}
	OutDirectory = FPaths::ProjectContentDir() + Relative;
	return true;
}
