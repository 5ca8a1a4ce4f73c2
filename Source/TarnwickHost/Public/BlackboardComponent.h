// Blackboards, the engine's UBlackboardComponent: the typed key/value memory of an AI controller.
//
// A blackboard component is initialised from a blackboard asset (UBlackboardData) that lists the keys with their
// types; values start at the type's zero. Keys are addressed by index (the engine's FBlackboard::FKey) or name.
// Vectors and rotators print as the engine prints them ("X=1.000 Y=2.000 Z=3.000", "P=0.000000 Y=90.000000
// R=0.000000"). Implemented by the host; game thread only.
#pragma once
#include "World.h"

#include <string>
#include <vector>

/** The engine's blackboard key types (UBlackboardKeyType_Float, ...). */
enum class EBlackboardKeyType : uint8
{
	Float,
	Int,
	Enum,
	Bool,
	String,
	Name,
	Vector,
	Rotator,
	Object,
};

/** "float", "int", "enum", "bool", "string", "name", "vector", "rotator", "object". */
const char* LexToString(EBlackboardKeyType Type);

/** An invalid key index (the engine's FBlackboard::InvalidKey). */
inline constexpr int32 BlackboardInvalidKey = -1;

class UBlackboardComponent : public UActorComponent
{
public:
	/** The asset the keys come from (a UBlackboardData), or null before initialisation. */
	virtual UObject* GetBlackboardAsset() const = 0;
	virtual int32 GetNumKeys() const = 0;
	/** The key's index, or BlackboardInvalidKey. Names compare without regard to case. */
	virtual int32 GetKeyID(const std::string& KeyName) const = 0;
	virtual std::string GetKeyName(int32 KeyID) const = 0;
	virtual EBlackboardKeyType GetKeyType(int32 KeyID) const = 0;
	/** An enum key's value names, in value order (empty for other types). */
	virtual std::vector<std::string> GetEnumValueNames(int32 KeyID) const = 0;

	virtual float GetValueAsFloat(int32 KeyID) const = 0;
	virtual int32 GetValueAsInt(int32 KeyID) const = 0;
	virtual uint8 GetValueAsEnum(int32 KeyID) const = 0;
	virtual bool GetValueAsBool(int32 KeyID) const = 0;
	virtual std::string GetValueAsString(int32 KeyID) const = 0;
	virtual std::string GetValueAsName(int32 KeyID) const = 0;
	virtual FVector GetValueAsVector(int32 KeyID) const = 0;
	virtual FRotator GetValueAsRotator(int32 KeyID) const = 0;
	virtual UObject* GetValueAsObject(int32 KeyID) const = 0;

	/** Writes a key; false when the key does not exist or has another type (the value is then unchanged). */
	virtual bool SetValueAsFloat(int32 KeyID, float Value) = 0;
	virtual bool SetValueAsInt(int32 KeyID, int32 Value) = 0;
	virtual bool SetValueAsEnum(int32 KeyID, uint8 Value) = 0;
	virtual bool SetValueAsBool(int32 KeyID, bool Value) = 0;
	virtual bool SetValueAsString(int32 KeyID, const std::string& Value) = 0;
	virtual bool SetValueAsName(int32 KeyID, const std::string& Value) = 0;
	virtual bool SetValueAsVector(int32 KeyID, const FVector& Value) = 0;
	virtual bool SetValueAsRotator(int32 KeyID, const FRotator& Value) = 0;
	virtual bool SetValueAsObject(int32 KeyID, UObject* Value) = 0;
};

/** The engine's text forms: FVector::ToString ("X=%3.3f Y=%3.3f Z=%3.3f") and FRotator::ToString ("P=%f Y=%f R=%f"). */
std::string VectorToString(const FVector& V);
std::string RotatorToString(const FRotator& R);
