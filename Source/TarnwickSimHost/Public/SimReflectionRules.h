// Pure rules of the simulated editor's reflection: how a property type is written in the native class table
// and in Blueprint variables ("float", "array:FName", "enum:EMovementMode", "class:/Script/Engine.Pawn"), the
// table of native classes with their properties, components and defaults, and the conversion between JSON
// documents and typed property values.
//
// Nothing here holds state; the object registry (SimObjects.h) builds classes from these tables and calls
// the converters when it loads a map or an asset. Tests call them directly.
#pragma once
#include "Object.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <optional>
#include <string>
#include <vector>

using FSimJson = nlohmann::ordered_json;

namespace Tarnwick::Sim
{
/**
 * Parses a type spec into a property named Name. Specs: bool, int32, int64, float, double, FString, FName,
 * FText, FVector, FRotator, enum:<EnumName>, struct:<StructName>, object:<ClassPath>, class:<ClassPath>,
 * softobject:<ClassPath>, softclass:<ClassPath>, array:<spec>. Only the enums and structs of the built-in
 * tables are known. On failure returns nullopt with the reason in OutError.
 */
std::optional<FProperty> ParsePropertyType(const std::string& Name, const std::string& Spec, std::string* OutError);

/** What C++ object the registry makes for instances of a native class (and its Blueprint children). */
enum class ESimObjectKind : uint8
{
	Object,
	Package,
	Class,
	World,
	Level,
	Blueprint,
	Actor,
	Pawn,
	Controller,
	PlayerController,
	Component,
};

struct FNativePropertyDesc
{
	const char* Name;
	const char* TypeSpec;
	/** JSON text of the default value; empty for the type's zero value. */
	const char* DefaultJson;
};

struct FNativeComponentDesc
{
	/** The component object's name ("CharMoveComp"). */
	const char* Name;
	const char* ClassPath;
	/** The actor's object property that points at the component ("CharacterMovement"); may be empty. */
	const char* BoundProperty;
};

struct FNativeClassDesc
{
	const char* Path;
	/** Empty for the root class. */
	const char* SuperPath;
	ESimObjectKind Kind;
	bool bAbstract;
	std::vector<FNativePropertyDesc> Properties;
	/** Default subobjects of an actor class; the root-most class's first component is the actor's root. */
	std::vector<FNativeComponentDesc> Components;
};

/** Every native class, each after its super class. */
const std::vector<FNativeClassDesc>& GetNativeClassTable();

/** Resolves a path to a loaded-or-loadable object, or fails with a reason (used by the JSON converters). */
using FObjectResolver = std::function<UObject*(const std::string& Path, bool bWantClass, std::string* OutError)>;

/**
 * Converts a JSON value to a value of Property's type. Forms: booleans; integers; numbers; enum entry name
 * or number; strings (FString, FName, FText); vector as [x,y,z] or {"X","Y","Z"}; rotator as
 * [pitch,yaw,roll] or {"Pitch","Yaw","Roll"}; object and class as a path or null; soft references as a path
 * ("" for none); structs as objects (missing fields keep Base's value, else their zero value); arrays as
 * arrays. Base (may be null) is the value the JSON is laid over, so that partial structs keep their defaults.
 */
std::optional<FPropertyValue> PropertyValueFromJson(const FProperty& Property, const FSimJson& Json,
	const FObjectResolver& Resolver, const FPropertyValue* Base, std::string* OutError);

/** The default value of a property's type: false, 0, "", zero vector, null object, empty array; a struct's fields at their declared defaults. */
FPropertyValue MakeZeroValue(const FProperty& Property);

/**
 * The JSON form of a value, the inverse of PropertyValueFromJson: objects and classes by path name (null when
 * empty or destroyed), enums by entry name, floats as numbers.
 */
FSimJson PropertyValueToJson(const FPropertyValue& Value);

/** Whether a value may be stored into Property, converted to the property's exact type; else OutError. */
std::optional<FPropertyValue> CoercePropertyValue(const FProperty& Property, const FPropertyValue& Value, std::string* OutError);
}
