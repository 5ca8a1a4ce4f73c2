// Core utilities that reach the engine: worlds, actors, assets, and reflective reads and writes of properties.
// They see the engine only through TarnwickHost, so they work on whichever host is installed; without an
// editor or object system they answer null/false. Game thread only.
#pragma once
#include "TarnwickActionResult.h"

#include <string>
#include <vector>

class AActor;
class UClass;
class UObject;
class UWorld;
struct FProperty;
struct FPropertyValue;

namespace TarnwickParamUtils
{
/** The world of the level editor; null without an editor. */
UWorld* GetEditorWorld();
}

namespace Tarnwick
{
/** The running PIE world: the first world context of type PIE holding a live world; null otherwise. */
UWorld* GetPIEWorld();
/** The first live actor whose label, else whose object name, equals Name (case-insensitive) in World. */
AActor* FindActorInWorld(UWorld* World, const std::string& Name);
/** FindActorInWorld over the PIE world. */
AActor* FindActorInPIE(const std::string& Name);
}

struct FTarnwickAssetUtils
{
	/** Loads an asset by object path ("/Game/A/B.B") or package path ("/Game/A/B"); when Class is given the
	 *  asset must be of it. Null on failure, with the reason in OutError when asked. */
	static UObject* LoadAssetByPath(const std::string& Path, const UClass* Class = nullptr, std::string* OutError = nullptr);
};

namespace Tarnwick::Diagnostics
{
/** Loads the asset named by the string under Key and checks its class; false with a -32602 error otherwise. */
bool ResolveAssetPath(const FJsonPtr& Params, const std::string& Key, UObject*& OutObject, FTarnwickActionResult& OutError,
	const UClass* ExpectedClass = nullptr);
}

struct FTarnwickReflectionReader
{
	/** A property value as JSON: numbers, strings, enum names, {"x","y","z"} vectors, {"pitch","yaw","roll"}
	 *  rotators, objects by path name (null when none), structs as objects, arrays as arrays. */
	static FJson PropertyToJsonValue(const FProperty& Property, const FPropertyValue& Value, const UObject* Owner);
	/** Reads Property of Object and converts it; null JSON when the read fails. */
	static FJson ReadProperty(const UObject& Object, const FProperty& Property);
};

namespace Tarnwick::PropertyPath
{
struct FResolvedPath
{
	/** The object that owns the first property of the last hop. */
	UObject* Object = nullptr;
	/** The last segment's property (a struct field when the path went into a struct). */
	const FProperty* Property = nullptr;
	/** The value at the end of the path. */
	FJson Value;
	std::string PropertyType;
};

/** Walks "Comp.Prop.Field" from Object: object properties and components hop into the referenced object,
 *  struct properties into their fields, "Arr[2]" into an array element. False with the reason otherwise. */
bool ResolveValuePtr(UObject* Object, const std::string& DottedPath, FResolvedPath& OutResolved, std::string& OutError);
}

namespace Tarnwick::PropertyWriter
{
struct FWriteOptions
{
	/** Strict: any unknown or unconvertible field fails the whole write and nothing is written. */
	bool bStrict = true;
};

struct FFieldFailure
{
	std::string Field;
	std::string Error;
};

struct FBulkWriteResult
{
	std::vector<std::string> Written;
	std::vector<FFieldFailure> Failed;
	bool bAborted = false;

	bool IsSuccess() const { return Failed.empty(); }
	/** {"written": [...], "written_count", "failed": [{"field","error"}], "failed_count"}; with bVerbose also "aborted". */
	FJson ToJson(bool bVerbose) const;
};

/** Converts a JSON value into a value of Property's type; false with the reason when it cannot. */
bool JsonToPropertyValue(const FProperty& Property, const FJson& Json, FPropertyValue& OutValue, std::string& OutError);
/** Writes every field of Fields (a JSON object keyed by property name) onto Object. */
FBulkWriteResult WritePropertiesObject(UObject* Object, const FJson& Fields, const FWriteOptions& Options);
}
