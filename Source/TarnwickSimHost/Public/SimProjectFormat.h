// Pure rules of the project folder and its documents: the .uproject descriptor, Config/*.ini files, the
// mapping between long package names and files, and the JSON documents that stand for maps (.umap) and
// assets (.uasset). Parsing checks the shape of a document and reports the first problem as
// "<file>: <what is wrong>", with the file relative to the project; it never resolves classes or objects
// (the registry does that when it instantiates the document).
//
// docs/project-format.md describes every format read here.
#pragma once
#include "BlackboardComponent.h"
#include "Blueprint.h"
#include "Color.h"
#include "MathTypes.h"
#include "SimAttributeRules.h"
#include "SimEventGraph.h"
#include "SimReflectionRules.h"

#include <memory>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Tarnwick::Sim
{
/** The .uproject file: the engine's JSON project descriptor, of which the editor reads a few fields. */
struct FProjectDescriptor
{
	std::string Name; // the file's base name
	int32 FileVersion = 3;
	std::string EngineAssociation;
	std::string Description;
	std::vector<std::string> Modules; // names of the game's C++ modules
	std::vector<std::pair<std::string, bool>> Plugins; // name, enabled
};

std::optional<FProjectDescriptor> ParseProjectDescriptor(const std::string& Name, const std::string& Text,
	const std::string& FileLabel, std::string* OutError);

/** One .ini file: sections in file order, each with its keys in file order ("+Key=" lines append). */
struct FIniFile
{
	std::vector<std::pair<std::string, std::vector<std::pair<std::string, std::string>>>> Sections;

	/** The last value of Key in Section, or nullopt. */
	std::optional<std::string> GetString(const std::string& Section, const std::string& Key) const;
	/** Every value of Key in Section (array keys written with '+'). */
	std::vector<std::string> GetArray(const std::string& Section, const std::string& Key) const;
};

/** Parses ini text: [Section], Key=Value, +Key=Value, -Key=Value (removes), ';' and '#' comments. */
FIniFile ParseIni(const std::string& Text);

/** How long package names map to folders: /Game/ is the project's Content/; /Engine/ is built in. */
struct FPackageMount
{
	/** "/Game/Maps/Arena" -> "Content/Maps/Arena" (no extension); nullopt for other mount points. */
	static std::optional<std::string> GameRelativeBase(const std::string& LongPackageName);
	/** "Content/Maps/Arena.umap" -> "/Game/Maps/Arena"; nullopt for files outside Content/. */
	static std::optional<std::string> GamePackageFromRelativeFile(const std::string& RelativeFile);
};

/** One actor of a map document. */
struct FActorDocument
{
	std::string Name;
	std::string ClassPath;
	std::string Label;
	std::string FolderPath;
	FVector Location;
	FRotator Rotation;
	FVector Scale{1.0, 1.0, 1.0};
	/** Property values of the actor, in document order. */
	FSimJson Properties = FSimJson::object();
	/** Property values per component name, in document order. */
	FSimJson Components = FSimJson::object();
	/** Events this actor runs after its class's ("EventGraph"); null when it has none of its own. */
	std::shared_ptr<const FSimEventGraph> EventGraph;
	/** Attribute values over its class's ("AttributeSets"). */
	std::vector<FSimAttributeSetDef> AttributeSets;
};

/** A sub-level the map streams in; async loading stays busy for LoadFrames frames while it does. */
struct FStreamingLevelDocument
{
	std::string PackageName;
	int32 LoadFrames = 30;
};

/** A .umap document. */
struct FMapDocument
{
	FSimJson WorldSettings = FSimJson::object();
	std::vector<FStreamingLevelDocument> StreamingLevels;
	/** Frames world-partition streaming stays busy after load (0 without world partition). */
	int32 WorldPartitionStreamingFrames = 0;
	/** The map was saved with its navigation built ("Navigation": {"Built": true}). */
	bool bNavigationBuilt = false;
	std::vector<FActorDocument> Actors;
};

std::optional<FMapDocument> ParseMapDocument(const std::string& Text, const std::string& FileLabel, std::string* OutError);

/** A variable a Blueprint adds to its class. */
struct FVariableDocument
{
	std::string Name;
	std::string TypeSpec;
	FSimJson Default; // null: the type's zero value
};

/** A component a Blueprint adds to its actor class. */
struct FAddedComponentDocument
{
	std::string Name;
	std::string ClassPath;
};

enum class EAssetDocumentType : uint8
{
	Blueprint,
	AnimBlueprint,
	StaticMesh,
	SkeletalMesh,
	BlackboardData,
	DataAsset,
};

/** One key of a BlackboardData asset. */
struct FBlackboardKeyDocument
{
	std::string Name;
	EBlackboardKeyType Type = EBlackboardKeyType::Float;
	/** Enum keys: the value names, value 0 first. */
	std::vector<std::string> EnumValues;
};

/** A key type as written in a BlackboardData asset ("Float", "Vector", ...; case-insensitive). */
std::optional<EBlackboardKeyType> ParseBlackboardKeyType(const std::string& Name);

/** A .uasset document: a Blueprint (or Animation Blueprint) or a mesh. */
struct FAssetDocument
{
	EAssetDocumentType Type = EAssetDocumentType::Blueprint;
	// Blueprints:
	std::string ParentClass;
	EBlueprintStatus Status = EBlueprintStatus::UpToDate;
	bool bDisplayCompilePIEWarning = true;
	std::vector<std::string> CompileErrors;
	std::vector<FVariableDocument> Variables;
	std::vector<FAddedComponentDocument> AddedComponents;
	/** Default values of the generated class's properties (inherited ones and the variables). */
	FSimJson Defaults = FSimJson::object();
	/** Default values per component name (inherited components and added ones). */
	FSimJson ComponentDefaults = FSimJson::object();
	/** Events every instance runs, after those of a Blueprint parent; null when the Blueprint declares none. */
	std::shared_ptr<const FSimEventGraph> EventGraph;
	/** Attribute sets of the class's ability system component, over a Blueprint parent's. */
	std::vector<FSimAttributeSetDef> AttributeSets;
	// Meshes:
	FVector BoundsExtent{50.0, 50.0, 50.0};
	/** The colour the renderer draws the mesh in; unset: the renderer's default. */
	std::optional<FColor> Color;
	// BlackboardData:
	std::vector<FBlackboardKeyDocument> BlackboardKeys;
	// DataAsset: the object's class and its property values.
	std::string DataAssetClass;
	FSimJson DataAssetProperties = FSimJson::object();
};

std::optional<FAssetDocument> ParseAssetDocument(const std::string& Text, const std::string& FileLabel, std::string* OutError);

const char* LexToString(EAssetDocumentType Type);
}
