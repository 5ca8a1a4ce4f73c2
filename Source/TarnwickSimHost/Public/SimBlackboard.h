// Blackboards in the simulated game: the BlackboardData asset (keys with types) and the blackboard component
// an AI controller carries. The component is initialised from its DefaultBlackboardAsset when its owner begins
// play (the engine's InitializeBlackboard); until then it has no keys. Values start at the type's zero.
#pragma once
#include "BlackboardComponent.h"
#include "SimObjects.h"
#include "SimProjectFormat.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Tarnwick::Sim
{
using FSimBlackboardKeyDef = FBlackboardKeyDocument;

/** The BlackboardData asset (/Script/AIModule.BlackboardData). */
class FSimBlackboardData final : public TSimObject<UObject>
{
public:
	std::vector<FSimBlackboardKeyDef> Keys;
};

class FSimBlackboardComponent final : public TSimComponent<UBlackboardComponent>
{
public:
	UObject* GetBlackboardAsset() const override { return Asset.Get(); }
	int32 GetNumKeys() const override { return static_cast<int32>(Keys.size()); }
	int32 GetKeyID(const std::string& KeyName) const override;
	std::string GetKeyName(int32 KeyID) const override;
	EBlackboardKeyType GetKeyType(int32 KeyID) const override;
	std::vector<std::string> GetEnumValueNames(int32 KeyID) const override;

	float GetValueAsFloat(int32 KeyID) const override;
	int32 GetValueAsInt(int32 KeyID) const override;
	uint8 GetValueAsEnum(int32 KeyID) const override;
	bool GetValueAsBool(int32 KeyID) const override;
	std::string GetValueAsString(int32 KeyID) const override;
	std::string GetValueAsName(int32 KeyID) const override;
	FVector GetValueAsVector(int32 KeyID) const override;
	FRotator GetValueAsRotator(int32 KeyID) const override;
	UObject* GetValueAsObject(int32 KeyID) const override;

	bool SetValueAsFloat(int32 KeyID, float Value) override;
	bool SetValueAsInt(int32 KeyID, int32 Value) override;
	bool SetValueAsEnum(int32 KeyID, uint8 Value) override;
	bool SetValueAsBool(int32 KeyID, bool Value) override;
	bool SetValueAsString(int32 KeyID, const std::string& Value) override;
	bool SetValueAsName(int32 KeyID, const std::string& Value) override;
	bool SetValueAsVector(int32 KeyID, const FVector& Value) override;
	bool SetValueAsRotator(int32 KeyID, const FRotator& Value) override;
	bool SetValueAsObject(int32 KeyID, UObject* Value) override;

	void CopyGameplayStateFrom(ISimObject& Source) override;

	/** Takes the asset's keys, every value at its zero; false (and no keys) without an asset. */
	bool InitializeBlackboard(FSimBlackboardData* Data);
	/**
	 * Writes a key from a JSON value of its type: numbers, booleans, strings, [x, y, z] vectors, [p, y, r]
	 * rotators, enum value names or numbers, objects through Resolve (null clears). False with the reason.
	 */
	bool SetValueFromJson(int32 KeyID, const FSimJson& Value, const std::function<UObject*(const std::string&)>& Resolve, std::string* OutError);
	/** {"Key": value, ...} for state dumps. */
	FSimJson Describe() const;

private:
	struct FValue
	{
		double Number = 0.0; // float, int, enum
		bool bValue = false;
		std::string Text; // string, name
		FVector Vector;
		FRotator Rotator;
		FWeakObjectPtr Object;
	};
	const FValue* Get(int32 KeyID, EBlackboardKeyType Type) const;
	FValue* Set(int32 KeyID, EBlackboardKeyType Type);

	FWeakObjectPtr Asset;
	std::vector<FSimBlackboardKeyDef> Keys;
	std::vector<FValue> Values;
};
}
