#include "TarnwickParamUtils.h"

#include "Printf.h"

#include <algorithm>
#include <cctype>

namespace TarnwickParamUtils
{
bool ParseVectorValue(const FJson& Value, FVector& OutVector)
{
	if (Value.is_array())
	{
		if (Value.size() != 3 || !std::all_of(Value.begin(), Value.end(), [](const FJson& V) { return V.is_number(); }))
		{
			return false;
		}
		OutVector = FVector(Value[0].get<double>(), Value[1].get<double>(), Value[2].get<double>());
		return true;
	}
	if (Value.is_object())
	{
		auto X = Value.find("x"), Y = Value.find("y"), Z = Value.find("z");
		if (X == Value.end() || Y == Value.end() || Z == Value.end() || !X->is_number() || !Y->is_number() || !Z->is_number())
		{
			return false;
		}
		OutVector = FVector(X->get<double>(), Y->get<double>(), Z->get<double>());
		return true;
	}
	return false;
}

bool ParseVector(const FJsonPtr& Params, const std::string& Key, FVector& OutVector)
{
	if (!Params || !Params->is_object()) return false;
	auto It = Params->find(Key);
	return It != Params->end() && ParseVectorValue(*It, OutVector);
}

bool ParseMobility(const std::string& Text, EComponentMobility::Type& OutMobility)
{
	std::string Lower = Text;
	std::transform(Lower.begin(), Lower.end(), Lower.begin(), [](unsigned char C) { return static_cast<char>(std::tolower(C)); });
	if (Lower == "static") { OutMobility = EComponentMobility::Static; return true; }
	if (Lower == "stationary") { OutMobility = EComponentMobility::Stationary; return true; }
	if (Lower == "movable") { OutMobility = EComponentMobility::Movable; return true; }
	return false;
}

const char* MobilityToString(EComponentMobility::Type Mobility)
{
	switch (Mobility)
	{
	case EComponentMobility::Static: return "Static";
	case EComponentMobility::Stationary: return "Stationary";
	case EComponentMobility::Movable: return "Movable";
	}
	return "Static";
}

namespace
{
bool EndsWith(const std::string& S, const std::string& Suffix)
{
	return S.size() >= Suffix.size() && S.compare(S.size() - Suffix.size(), Suffix.size(), Suffix) == 0;
}

// The engine refuses these in long package names.
constexpr const char* InvalidPackageChars = "\\:*?\"<>|' ,&!~\n\r\t@#";
}

bool NormalizeContentPath(std::string& InOutPath, std::string& OutError)
{
	std::string Path = InOutPath;
	// Trim surrounding whitespace; inner whitespace stays and is refused below.
	const auto NotSpace = [](unsigned char C) { return !std::isspace(C); };
	Path.erase(Path.begin(), std::find_if(Path.begin(), Path.end(), NotSpace));
	Path.erase(std::find_if(Path.rbegin(), Path.rend(), NotSpace).base(), Path.end());
	if (Path.empty())
	{
		OutError = "Path is empty";
		return false;
	}
	std::replace(Path.begin(), Path.end(), '\\', '/');
	for (const char* Ext : {".umap", ".uasset"})
	{
		if (EndsWith(Path, Ext)) Path.resize(Path.size() - std::string(Ext).size());
	}
	// "Content/..." is the disk form of "/Game/...".
	if (Path.rfind("Content/", 0) == 0) Path = "/Game/" + Path.substr(8);
	else if (Path.rfind("/Content/", 0) == 0) Path = "/Game/" + Path.substr(9);
	if (Path.front() != '/') Path = "/" + Path;
	// Object path "/Game/A/B.B" → package "/Game/A/B".
	const size_t LastSlash = Path.rfind('/');
	if (const size_t Dot = Path.find('.', LastSlash); Dot != std::string::npos)
	{
		Path.resize(Dot);
	}
	while (Path.size() > 1 && Path.back() == '/') Path.pop_back();
	if (Path.find("//") != std::string::npos)
	{
		OutError = Tarnwick::Printf("Path '%s' has an empty folder name", InOutPath.c_str());
		return false;
	}
	const size_t RootEnd = Path.find('/', 1);
	if (RootEnd == std::string::npos || RootEnd + 1 >= Path.size())
	{
		OutError = Tarnwick::Printf("Path '%s' is not a long package name such as /Game/Maps/MyMap", InOutPath.c_str());
		return false;
	}
	if (const size_t Bad = Path.find_first_of(InvalidPackageChars); Bad != std::string::npos)
	{
		OutError = Tarnwick::Printf("Path '%s' contains the character '%c', which package names cannot hold", InOutPath.c_str(), Path[Bad]);
		return false;
	}
	InOutPath = Path;
	return true;
}
}
