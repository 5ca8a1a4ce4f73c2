#include "SimProjectFormat.h"

#include "Printf.h"

#include <cctype>
#include <cmath>
#include <initializer_list>

namespace Tarnwick::Sim
{
namespace
{

/** How deep a project document may nest; deeper values would recurse that deep when they are copied. */
constexpr size_t MaxDocumentNesting = 256;

std::optional<FSimJson> ParseJsonText(const std::string& Text, std::string& OutWhat)
{
	// Counted before parsing, on the raw text (brackets inside strings do not count).
	size_t Depth = 0;
	bool bInString = false;
	for (size_t I = 0; I < Text.size(); ++I)
	{
		const char C = Text[I];
		if (bInString)
		{
			if (C == '\\') ++I;
			else if (C == '"') bInString = false;
		}
		else if (C == '"') bInString = true;
		else if (C == '[' || C == '{')
		{
			if (++Depth > MaxDocumentNesting)
			{
				OutWhat = Tarnwick::Printf("not valid JSON (arrays and objects nest deeper than %zu levels)", MaxDocumentNesting);
				return std::nullopt;
			}
		}
		else if ((C == ']' || C == '}') && Depth > 0) --Depth;
	}
	try
	{
		return FSimJson::parse(Text);
	}
	catch (const FSimJson::exception& E)
	{
		// Every way parsing can fail, a number too large for a double included (that one is not a parse_error).
		std::string Message = E.what();
		const size_t Close = Message.find("] ");
		if (Message.rfind("[json.exception", 0) == 0 && Close != std::string::npos) Message = Message.substr(Close + 2);
		OutWhat = "not valid JSON (" + Message + ")";
		return std::nullopt;
	}
}

bool CheckKeys(const FSimJson& Object, std::initializer_list<const char*> Allowed, const std::string& Where, std::string& OutWhat)
{
	for (auto It = Object.begin(); It != Object.end(); ++It)
	{
		bool bKnown = false;
		for (const char* Key : Allowed) bKnown = bKnown || It.key() == Key;
		if (!bKnown)
		{
			OutWhat = Tarnwick::Printf("%sunknown key \"%s\"", Where.c_str(), It.key().c_str());
			return false;
		}
	}
	return true;
}

bool ReadString(const FSimJson& Object, const char* Key, std::string& Out, bool bRequired, const std::string& Where, std::string& OutWhat)
{
	const auto It = Object.find(Key);
	if (It == Object.end())
	{
		if (bRequired) OutWhat = Tarnwick::Printf("%s\"%s\" is missing", Where.c_str(), Key);
		return !bRequired;
	}
	if (!It->is_string())
	{
		OutWhat = Tarnwick::Printf("%s\"%s\" must be a string, not %s", Where.c_str(), Key, It->type_name());
		return false;
	}
	Out = It->get<std::string>();
	return true;
}

bool ReadTriple(const FSimJson& Object, const char* Key, double Out[3], const std::string& Where, std::string& OutWhat)
{
	const auto It = Object.find(Key);
	if (It == Object.end()) return true;
	if (!It->is_array() || It->size() != 3)
	{
		OutWhat = Tarnwick::Printf("%s\"%s\" must be an array of 3 numbers", Where.c_str(), Key);
		return false;
	}
	for (size_t I = 0; I < 3; ++I)
	{
		if (!(*It)[I].is_number() || !std::isfinite((*It)[I].get<double>()))
		{
			OutWhat = Tarnwick::Printf("%s\"%s\" must be an array of 3 finite numbers", Where.c_str(), Key);
			return false;
		}
		Out[I] = (*It)[I].get<double>();
	}
	return true;
}

bool ReadColor(const FSimJson& Object, const char* Key, std::optional<FColor>& Out, std::string& OutWhat)
{
	const auto It = Object.find(Key);
	if (It == Object.end()) return true;
	bool bValid = It->is_array() && It->size() == 3;
	for (size_t I = 0; bValid && I < 3; ++I)
	{
		bValid = (*It)[I].is_number_integer() && (*It)[I].get<int64_t>() >= 0 && (*It)[I].get<int64_t>() <= 255;
	}
	if (!bValid)
	{
		OutWhat = Tarnwick::Printf("\"%s\" must be [red, green, blue], each an integer 0..255", Key);
		return false;
	}
	Out = FColor(static_cast<uint8>((*It)[0].get<int64_t>()), static_cast<uint8>((*It)[1].get<int64_t>()),
		static_cast<uint8>((*It)[2].get<int64_t>()));
	return true;
}

bool ReadObject(const FSimJson& Object, const char* Key, FSimJson& Out, const std::string& Where, std::string& OutWhat)
{
	const auto It = Object.find(Key);
	if (It == Object.end()) return true;
	if (!It->is_object())
	{
		OutWhat = Tarnwick::Printf("%s\"%s\" must be an object, not %s", Where.c_str(), Key, It->type_name());
		return false;
	}
	Out = *It;
	return true;
}

bool ReadComponentTable(const FSimJson& Object, const char* Key, FSimJson& Out, const std::string& Where, std::string& OutWhat)
{
	if (!ReadObject(Object, Key, Out, Where, OutWhat)) return false;
	for (auto It = Out.begin(); It != Out.end(); ++It)
	{
		if (!It.value().is_object())
		{
			OutWhat = Tarnwick::Printf("%s\"%s\".\"%s\" must be an object of property values", Where.c_str(), Key, It.key().c_str());
			return false;
		}
	}
	return true;
}

bool ReadInt(const FSimJson& Object, const char* Key, int32& Out, int32 Min, const std::string& Where, std::string& OutWhat)
{
	const auto It = Object.find(Key);
	if (It == Object.end()) return true;
	if (!It->is_number_integer() || It->get<int64>() < Min || It->get<int64>() > 1000000)
	{
		OutWhat = Tarnwick::Printf("%s\"%s\" must be an integer from %d to 1000000", Where.c_str(), Key, Min);
		return false;
	}
	Out = It->get<int32>();
	return true;
}

bool IsValidObjectName(const std::string& Name)
{
	if (Name.empty()) return false;
	for (char C : Name)
	{
		if (C == '.' || C == ':' || C == '/' || C == ' ' || C == '"' || C == ',') return false;
	}
	return true;
}

template <typename T>
std::optional<T> Failed(const std::string& FileLabel, const std::string& What, std::string* OutError)
{
	if (OutError) *OutError = FileLabel + ": " + What;
	return std::nullopt;
}
}

std::optional<FProjectDescriptor> ParseProjectDescriptor(const std::string& Name, const std::string& Text,
	const std::string& FileLabel, std::string* OutError)
{
	std::string What;
	std::optional<FSimJson> Json = ParseJsonText(Text, What);
	if (!Json) return Failed<FProjectDescriptor>(FileLabel, What, OutError);
	if (!Json->is_object()) return Failed<FProjectDescriptor>(FileLabel, "the descriptor must be a JSON object", OutError);
	FProjectDescriptor Out;
	Out.Name = Name;
	const auto Version = Json->find("FileVersion");
	if (Version == Json->end() || !Version->is_number_integer())
	{
		return Failed<FProjectDescriptor>(FileLabel, "\"FileVersion\" is missing or not an integer", OutError);
	}
	Out.FileVersion = Version->get<int32>();
	if (Out.FileVersion != 3)
	{
		return Failed<FProjectDescriptor>(FileLabel, Tarnwick::Printf("unsupported \"FileVersion\" %d (expected 3)", Out.FileVersion), OutError);
	}
	if (!ReadString(*Json, "EngineAssociation", Out.EngineAssociation, false, "", What) ||
		!ReadString(*Json, "Description", Out.Description, false, "", What))
	{
		return Failed<FProjectDescriptor>(FileLabel, What, OutError);
	}
	for (const char* Key : {"Modules", "Plugins"})
	{
		const auto It = Json->find(Key);
		if (It == Json->end()) continue;
		if (!It->is_array()) return Failed<FProjectDescriptor>(FileLabel, Tarnwick::Printf("\"%s\" must be an array", Key), OutError);
		for (size_t I = 0; I < It->size(); ++I)
		{
			const FSimJson& Entry = (*It)[I];
			std::string EntryName;
			const std::string Where = Tarnwick::Printf("%s[%d]: ", Key, static_cast<int>(I));
			if (!Entry.is_object()) return Failed<FProjectDescriptor>(FileLabel, Where + "must be an object", OutError);
			if (!ReadString(Entry, "Name", EntryName, true, Where, What)) return Failed<FProjectDescriptor>(FileLabel, What, OutError);
			if (std::string(Key) == "Modules")
			{
				Out.Modules.push_back(EntryName);
			}
			else
			{
				const auto Enabled = Entry.find("Enabled");
				Out.Plugins.emplace_back(EntryName, Enabled == Entry.end() || (Enabled->is_boolean() && Enabled->get<bool>()));
			}
		}
	}
	return Out;
}

std::optional<std::string> FIniFile::GetString(const std::string& Section, const std::string& Key) const
{
	std::optional<std::string> Out;
	for (const auto& [Name, Keys] : Sections)
	{
		if (Name != Section) continue;
		for (const auto& [K, V] : Keys)
		{
			if (K == Key) Out = V;
		}
	}
	return Out;
}

std::vector<std::string> FIniFile::GetArray(const std::string& Section, const std::string& Key) const
{
	std::vector<std::string> Out;
	for (const auto& [Name, Keys] : Sections)
	{
		if (Name != Section) continue;
		for (const auto& [K, V] : Keys)
		{
			if (K == Key) Out.push_back(V);
		}
	}
	return Out;
}

FIniFile ParseIni(const std::string& Text)
{
	auto Trim = [](std::string S) {
		const size_t B = S.find_first_not_of(" \t\r");
		if (B == std::string::npos) return std::string();
		const size_t E = S.find_last_not_of(" \t\r");
		return S.substr(B, E - B + 1);
	};
	FIniFile Out;
	size_t Pos = 0;
	while (Pos <= Text.size())
	{
		size_t End = Text.find('\n', Pos);
		if (End == std::string::npos) End = Text.size();
		const std::string Line = Trim(Text.substr(Pos, End - Pos));
		Pos = End + 1;
		if (Line.empty() || Line[0] == ';' || Line[0] == '#') continue;
		if (Line.front() == '[' && Line.back() == ']')
		{
			Out.Sections.emplace_back(Line.substr(1, Line.size() - 2), std::vector<std::pair<std::string, std::string>>());
			continue;
		}
		const size_t Eq = Line.find('=');
		if (Eq == std::string::npos || Out.Sections.empty()) continue;
		std::string Key = Trim(Line.substr(0, Eq));
		std::string Value = Trim(Line.substr(Eq + 1));
		if (Value.size() >= 2 && Value.front() == '"' && Value.back() == '"') Value = Value.substr(1, Value.size() - 2);
		auto& Keys = Out.Sections.back().second;
		if (!Key.empty() && (Key[0] == '+' || Key[0] == '.'))
		{
			Keys.emplace_back(Key.substr(1), Value);
		}
		else if (!Key.empty() && Key[0] == '-')
		{
			const std::string Name = Key.substr(1);
			std::erase_if(Keys, [&](const auto& KV) { return KV.first == Name && KV.second == Value; });
		}
		else
		{
			std::erase_if(Keys, [&](const auto& KV) { return KV.first == Key; });
			Keys.emplace_back(Key, Value);
		}
	}
	return Out;
}

std::optional<std::string> FPackageMount::GameRelativeBase(const std::string& LongPackageName)
{
	static const std::string Mount = "/Game/";
	if (LongPackageName.rfind(Mount, 0) != 0 || LongPackageName.size() == Mount.size()) return std::nullopt;
	return "Content/" + LongPackageName.substr(Mount.size());
}

std::optional<std::string> FPackageMount::GamePackageFromRelativeFile(const std::string& RelativeFile)
{
	static const std::string Root = "Content/";
	if (RelativeFile.rfind(Root, 0) != 0) return std::nullopt;
	std::string Rest = RelativeFile.substr(Root.size());
	const size_t Dot = Rest.rfind('.');
	const size_t Slash = Rest.rfind('/');
	if (Dot == std::string::npos || (Slash != std::string::npos && Dot < Slash)) return std::nullopt;
	const std::string Ext = Rest.substr(Dot);
	if (Ext != ".umap" && Ext != ".uasset") return std::nullopt;
	return "/Game/" + Rest.substr(0, Dot);
}

std::optional<FMapDocument> ParseMapDocument(const std::string& Text, const std::string& FileLabel, std::string* OutError)
{
	std::string What;
	std::optional<FSimJson> Json = ParseJsonText(Text, What);
	if (!Json) return Failed<FMapDocument>(FileLabel, What, OutError);
	if (!Json->is_object()) return Failed<FMapDocument>(FileLabel, "a map document must be a JSON object", OutError);
	if (!CheckKeys(*Json, {"Type", "WorldSettings", "StreamingLevels", "WorldPartition", "Navigation", "Actors"}, "", What))
	{
		return Failed<FMapDocument>(FileLabel, What, OutError);
	}
	std::string Type;
	if (!ReadString(*Json, "Type", Type, true, "", What)) return Failed<FMapDocument>(FileLabel, What, OutError);
	if (Type != "World")
	{
		return Failed<FMapDocument>(FileLabel, Tarnwick::Printf("\"Type\" of a .umap must be \"World\", not \"%s\"", Type.c_str()), OutError);
	}
	FMapDocument Out;
	if (!ReadObject(*Json, "WorldSettings", Out.WorldSettings, "", What)) return Failed<FMapDocument>(FileLabel, What, OutError);
	if (const auto WP = Json->find("WorldPartition"); WP != Json->end())
	{
		if (!WP->is_object() || !CheckKeys(*WP, {"StreamingFrames"}, "WorldPartition: ", What))
		{
			return Failed<FMapDocument>(FileLabel, What.empty() ? "\"WorldPartition\" must be an object" : What, OutError);
		}
		Out.WorldPartitionStreamingFrames = 0;
		if (!ReadInt(*WP, "StreamingFrames", Out.WorldPartitionStreamingFrames, 0, "WorldPartition: ", What))
		{
			return Failed<FMapDocument>(FileLabel, What, OutError);
		}
	}
	if (const auto Nav = Json->find("Navigation"); Nav != Json->end())
	{
		if (!Nav->is_object()) return Failed<FMapDocument>(FileLabel, "\"Navigation\" must be an object", OutError);
		if (!CheckKeys(*Nav, {"Built"}, "Navigation: ", What)) return Failed<FMapDocument>(FileLabel, What, OutError);
		if (const auto Built = Nav->find("Built"); Built != Nav->end())
		{
			if (!Built->is_boolean()) return Failed<FMapDocument>(FileLabel, "Navigation: \"Built\" must be true or false", OutError);
			Out.bNavigationBuilt = Built->get<bool>();
		}
	}
	if (const auto Levels = Json->find("StreamingLevels"); Levels != Json->end())
	{
		if (!Levels->is_array()) return Failed<FMapDocument>(FileLabel, "\"StreamingLevels\" must be an array", OutError);
		for (size_t I = 0; I < Levels->size(); ++I)
		{
			const FSimJson& L = (*Levels)[I];
			const std::string Where = Tarnwick::Printf("StreamingLevels[%d]: ", static_cast<int>(I));
			if (!L.is_object()) return Failed<FMapDocument>(FileLabel, Where + "must be an object", OutError);
			FStreamingLevelDocument Level;
			if (!CheckKeys(L, {"Package", "LoadFrames"}, Where, What) || !ReadString(L, "Package", Level.PackageName, true, Where, What) ||
				!ReadInt(L, "LoadFrames", Level.LoadFrames, 0, Where, What))
			{
				return Failed<FMapDocument>(FileLabel, What, OutError);
			}
			Out.StreamingLevels.push_back(std::move(Level));
		}
	}
	const auto Actors = Json->find("Actors");
	if (Actors == Json->end()) return Failed<FMapDocument>(FileLabel, "\"Actors\" is missing", OutError);
	if (!Actors->is_array()) return Failed<FMapDocument>(FileLabel, "\"Actors\" must be an array", OutError);
	for (size_t I = 0; I < Actors->size(); ++I)
	{
		const FSimJson& A = (*Actors)[I];
		std::string Where = Tarnwick::Printf("Actors[%d]: ", static_cast<int>(I));
		if (!A.is_object()) return Failed<FMapDocument>(FileLabel, Where + "must be an object", OutError);
		FActorDocument Actor;
		if (!CheckKeys(A, {"Name", "Class", "Label", "Folder", "Location", "Rotation", "Scale", "Properties", "Components", "EventGraph",
				"AttributeSets"},
				Where, What) ||
			!ReadString(A, "Name", Actor.Name, true, Where, What))
		{
			return Failed<FMapDocument>(FileLabel, What, OutError);
		}
		if (!IsValidObjectName(Actor.Name))
		{
			return Failed<FMapDocument>(FileLabel, Where + Tarnwick::Printf("\"%s\" is not a valid object name", Actor.Name.c_str()), OutError);
		}
		Where = Tarnwick::Printf("Actors[%d] (%s): ", static_cast<int>(I), Actor.Name.c_str());
		for (const FActorDocument& Earlier : Out.Actors)
		{
			if (Earlier.Name == Actor.Name) return Failed<FMapDocument>(FileLabel, Where + "an earlier actor has the same name", OutError);
		}
		double L[3] = {0, 0, 0}, R[3] = {0, 0, 0}, S[3] = {1, 1, 1};
		if (!ReadString(A, "Class", Actor.ClassPath, true, Where, What) || !ReadString(A, "Label", Actor.Label, false, Where, What) ||
			!ReadString(A, "Folder", Actor.FolderPath, false, Where, What) || !ReadTriple(A, "Location", L, Where, What) ||
			!ReadTriple(A, "Rotation", R, Where, What) || !ReadTriple(A, "Scale", S, Where, What) ||
			!ReadObject(A, "Properties", Actor.Properties, Where, What) || !ReadComponentTable(A, "Components", Actor.Components, Where, What))
		{
			return Failed<FMapDocument>(FileLabel, What, OutError);
		}
		if (const auto Graph = A.find("EventGraph"); Graph != A.end())
		{
			std::optional<FSimEventGraph> Parsed = ParseEventGraph(*Graph, &What);
			if (!Parsed) return Failed<FMapDocument>(FileLabel, Where + What, OutError);
			Actor.EventGraph = std::make_shared<const FSimEventGraph>(std::move(*Parsed));
		}
		if (const auto Sets = A.find("AttributeSets"); Sets != A.end())
		{
			std::optional<std::vector<FSimAttributeSetDef>> Parsed = ParseAttributeSets(*Sets, &What);
			if (!Parsed) return Failed<FMapDocument>(FileLabel, Where + "AttributeSets: " + What, OutError);
			Actor.AttributeSets = std::move(*Parsed);
		}
		if (Actor.Label.empty()) Actor.Label = Actor.Name;
		Actor.Location = FVector(L[0], L[1], L[2]);
		Actor.Rotation = FRotator(R[0], R[1], R[2]);
		Actor.Scale = FVector(S[0], S[1], S[2]);
		Out.Actors.push_back(std::move(Actor));
	}
	return Out;
}

const char* LexToString(EAssetDocumentType Type)
{
	switch (Type)
	{
	case EAssetDocumentType::Blueprint: return "Blueprint";
	case EAssetDocumentType::AnimBlueprint: return "AnimBlueprint";
	case EAssetDocumentType::StaticMesh: return "StaticMesh";
	case EAssetDocumentType::SkeletalMesh: return "SkeletalMesh";
	case EAssetDocumentType::BlackboardData: return "BlackboardData";
	case EAssetDocumentType::DataAsset: return "DataAsset";
	}
	return "Blueprint";
}

std::optional<EBlackboardKeyType> ParseBlackboardKeyType(const std::string& Name)
{
	static const EBlackboardKeyType Types[] = {EBlackboardKeyType::Float, EBlackboardKeyType::Int, EBlackboardKeyType::Enum,
		EBlackboardKeyType::Bool, EBlackboardKeyType::String, EBlackboardKeyType::Name, EBlackboardKeyType::Vector,
		EBlackboardKeyType::Rotator, EBlackboardKeyType::Object};
	std::string Lower = Name;
	for (char& C : Lower) C = static_cast<char>(std::tolower(static_cast<unsigned char>(C)));
	for (EBlackboardKeyType T : Types)
	{
		if (Lower == LexToString(T)) return T;
	}
	return std::nullopt;
}

std::optional<FAssetDocument> ParseAssetDocument(const std::string& Text, const std::string& FileLabel, std::string* OutError)
{
	std::string What;
	std::optional<FSimJson> Json = ParseJsonText(Text, What);
	if (!Json) return Failed<FAssetDocument>(FileLabel, What, OutError);
	if (!Json->is_object()) return Failed<FAssetDocument>(FileLabel, "an asset document must be a JSON object", OutError);
	std::string Type;
	if (!ReadString(*Json, "Type", Type, true, "", What)) return Failed<FAssetDocument>(FileLabel, What, OutError);
	FAssetDocument Out;
	bool bKnown = false;
	for (EAssetDocumentType T : {EAssetDocumentType::Blueprint, EAssetDocumentType::AnimBlueprint, EAssetDocumentType::StaticMesh,
			 EAssetDocumentType::SkeletalMesh, EAssetDocumentType::BlackboardData, EAssetDocumentType::DataAsset})
	{
		if (Type == LexToString(T))
		{
			Out.Type = T;
			bKnown = true;
		}
	}
	if (!bKnown)
	{
		return Failed<FAssetDocument>(FileLabel,
			Tarnwick::Printf("unknown asset \"Type\" \"%s\" (expected Blueprint, AnimBlueprint, StaticMesh, SkeletalMesh, BlackboardData or "
							 "DataAsset)",
				Type.c_str()),
			OutError);
	}
	if (Out.Type == EAssetDocumentType::StaticMesh || Out.Type == EAssetDocumentType::SkeletalMesh)
	{
		double E[3] = {50, 50, 50};
		if (!CheckKeys(*Json, {"Type", "BoundsExtent", "Color"}, "", What) || !ReadTriple(*Json, "BoundsExtent", E, "", What) ||
			!ReadColor(*Json, "Color", Out.Color, What))
		{
			return Failed<FAssetDocument>(FileLabel, What, OutError);
		}
		Out.BoundsExtent = FVector(E[0], E[1], E[2]);
		return Out;
	}
	if (Out.Type == EAssetDocumentType::BlackboardData)
	{
		if (!CheckKeys(*Json, {"Type", "Keys"}, "", What)) return Failed<FAssetDocument>(FileLabel, What, OutError);
		const auto Keys = Json->find("Keys");
		if (Keys == Json->end() || !Keys->is_array()) return Failed<FAssetDocument>(FileLabel, "\"Keys\" must be an array of {\"Name\", \"Type\"}", OutError);
		for (size_t I = 0; I < Keys->size(); ++I)
		{
			const FSimJson& K = (*Keys)[I];
			std::string Where = Tarnwick::Printf("Keys[%d]: ", static_cast<int>(I));
			if (!K.is_object()) return Failed<FAssetDocument>(FileLabel, Where + "must be an object", OutError);
			FBlackboardKeyDocument Key;
			std::string TypeName;
			if (!CheckKeys(K, {"Name", "Type", "Values"}, Where, What) || !ReadString(K, "Name", Key.Name, true, Where, What))
			{
				return Failed<FAssetDocument>(FileLabel, What, OutError);
			}
			if (!IsValidObjectName(Key.Name)) return Failed<FAssetDocument>(FileLabel, Where + "\"Name\" is not a valid key name", OutError);
			Where = Tarnwick::Printf("Keys[%d] (%s): ", static_cast<int>(I), Key.Name.c_str());
			for (const FBlackboardKeyDocument& Earlier : Out.BlackboardKeys)
			{
				if (Earlier.Name == Key.Name) return Failed<FAssetDocument>(FileLabel, Where + "an earlier key has the same name", OutError);
			}
			if (!ReadString(K, "Type", TypeName, true, Where, What)) return Failed<FAssetDocument>(FileLabel, What, OutError);
			const std::optional<EBlackboardKeyType> KeyType = ParseBlackboardKeyType(TypeName);
			if (!KeyType)
			{
				return Failed<FAssetDocument>(FileLabel,
					Where + Tarnwick::Printf("unknown key \"Type\" \"%s\" (expected Float, Int, Enum, Bool, String, Name, Vector, Rotator or Object)",
								TypeName.c_str()),
					OutError);
			}
			Key.Type = *KeyType;
			const auto Values = K.find("Values");
			if (Key.Type == EBlackboardKeyType::Enum)
			{
				if (Values == K.end() || !Values->is_array() || Values->empty() || Values->size() > 255)
				{
					return Failed<FAssetDocument>(FileLabel, Where + "an Enum key needs \"Values\": an array of 1 to 255 value names", OutError);
				}
				for (const FSimJson& V : *Values)
				{
					if (!V.is_string() || V.get<std::string>().empty())
					{
						return Failed<FAssetDocument>(FileLabel, Where + "\"Values\" must hold non-empty strings", OutError);
					}
					Key.EnumValues.push_back(V.get<std::string>());
				}
			}
			else if (Values != K.end())
			{
				return Failed<FAssetDocument>(FileLabel, Where + "only Enum keys have \"Values\"", OutError);
			}
			Out.BlackboardKeys.push_back(std::move(Key));
		}
		return Out;
	}
	if (Out.Type == EAssetDocumentType::DataAsset)
	{
		if (!CheckKeys(*Json, {"Type", "Class", "Properties"}, "", What) || !ReadString(*Json, "Class", Out.DataAssetClass, true, "", What) ||
			!ReadObject(*Json, "Properties", Out.DataAssetProperties, "", What))
		{
			return Failed<FAssetDocument>(FileLabel, What, OutError);
		}
		return Out;
	}
	if (!CheckKeys(*Json, {"Type", "ParentClass", "Status", "DisplayCompilePIEWarning", "CompileErrors", "Variables", "Components",
			"Defaults", "ComponentDefaults", "EventGraph", "AttributeSets"},
			"", What) ||
		!ReadString(*Json, "ParentClass", Out.ParentClass, true, "", What) || !ReadObject(*Json, "Defaults", Out.Defaults, "", What) ||
		!ReadComponentTable(*Json, "ComponentDefaults", Out.ComponentDefaults, "", What))
	{
		return Failed<FAssetDocument>(FileLabel, What, OutError);
	}
	std::string Status = "UpToDate";
	if (!ReadString(*Json, "Status", Status, false, "", What)) return Failed<FAssetDocument>(FileLabel, What, OutError);
	if (Status == "UpToDate") Out.Status = EBlueprintStatus::UpToDate;
	else if (Status == "UpToDateWithWarnings") Out.Status = EBlueprintStatus::UpToDateWithWarnings;
	else if (Status == "Error") Out.Status = EBlueprintStatus::Error;
	else if (Status == "Dirty") Out.Status = EBlueprintStatus::Dirty;
	else
	{
		return Failed<FAssetDocument>(FileLabel,
			Tarnwick::Printf("unknown \"Status\" \"%s\" (expected UpToDate, UpToDateWithWarnings, Error or Dirty)", Status.c_str()), OutError);
	}
	if (const auto Flag = Json->find("DisplayCompilePIEWarning"); Flag != Json->end())
	{
		if (!Flag->is_boolean()) return Failed<FAssetDocument>(FileLabel, "\"DisplayCompilePIEWarning\" must be true or false", OutError);
		Out.bDisplayCompilePIEWarning = Flag->get<bool>();
	}
	if (const auto Errors = Json->find("CompileErrors"); Errors != Json->end())
	{
		if (!Errors->is_array()) return Failed<FAssetDocument>(FileLabel, "\"CompileErrors\" must be an array of strings", OutError);
		for (const FSimJson& E : *Errors)
		{
			if (!E.is_string()) return Failed<FAssetDocument>(FileLabel, "\"CompileErrors\" must be an array of strings", OutError);
			Out.CompileErrors.push_back(E.get<std::string>());
		}
	}
	if (const auto Vars = Json->find("Variables"); Vars != Json->end())
	{
		if (!Vars->is_array()) return Failed<FAssetDocument>(FileLabel, "\"Variables\" must be an array", OutError);
		for (size_t I = 0; I < Vars->size(); ++I)
		{
			const FSimJson& V = (*Vars)[I];
			const std::string Where = Tarnwick::Printf("Variables[%d]: ", static_cast<int>(I));
			if (!V.is_object()) return Failed<FAssetDocument>(FileLabel, Where + "must be an object", OutError);
			FVariableDocument Var;
			if (!CheckKeys(V, {"Name", "Type", "Default"}, Where, What) || !ReadString(V, "Name", Var.Name, true, Where, What) ||
				!ReadString(V, "Type", Var.TypeSpec, true, Where, What))
			{
				return Failed<FAssetDocument>(FileLabel, What, OutError);
			}
			if (!IsValidObjectName(Var.Name)) return Failed<FAssetDocument>(FileLabel, Where + "\"Name\" is not a valid property name", OutError);
			if (const auto D = V.find("Default"); D != V.end()) Var.Default = *D;
			Out.Variables.push_back(std::move(Var));
		}
	}
	if (const auto Comps = Json->find("Components"); Comps != Json->end())
	{
		if (!Comps->is_array()) return Failed<FAssetDocument>(FileLabel, "\"Components\" must be an array", OutError);
		for (size_t I = 0; I < Comps->size(); ++I)
		{
			const FSimJson& C = (*Comps)[I];
			const std::string Where = Tarnwick::Printf("Components[%d]: ", static_cast<int>(I));
			if (!C.is_object()) return Failed<FAssetDocument>(FileLabel, Where + "must be an object", OutError);
			FAddedComponentDocument Comp;
			if (!CheckKeys(C, {"Name", "Class"}, Where, What) || !ReadString(C, "Name", Comp.Name, true, Where, What) ||
				!ReadString(C, "Class", Comp.ClassPath, true, Where, What))
			{
				return Failed<FAssetDocument>(FileLabel, What, OutError);
			}
			if (!IsValidObjectName(Comp.Name)) return Failed<FAssetDocument>(FileLabel, Where + "\"Name\" is not a valid object name", OutError);
			Out.AddedComponents.push_back(std::move(Comp));
		}
	}
	if (const auto Graph = Json->find("EventGraph"); Graph != Json->end())
	{
		std::optional<FSimEventGraph> Parsed = ParseEventGraph(*Graph, &What);
		if (!Parsed) return Failed<FAssetDocument>(FileLabel, What, OutError);
		Out.EventGraph = std::make_shared<const FSimEventGraph>(std::move(*Parsed));
	}
	if (const auto Sets = Json->find("AttributeSets"); Sets != Json->end())
	{
		std::optional<std::vector<FSimAttributeSetDef>> Parsed = ParseAttributeSets(*Sets, &What);
		if (!Parsed) return Failed<FAssetDocument>(FileLabel, "AttributeSets: " + What, OutError);
		Out.AttributeSets = std::move(*Parsed);
	}
	return Out;
}
}
