// Gameplay attributes, the engine's UAbilitySystemComponent and FGameplayAttribute (GameplayAbilities).
//
// An actor's ability system component holds its attribute sets; each attribute has a base value and a current
// value (the base plus whatever active gameplay effects add). An attribute is named "<SetClass>.<Attribute>" with
// the set class's C++ name ("USet.Health"). Implemented by the host; game thread only.
#pragma once
#include "World.h"

#include <string>
#include <string_view>
#include <vector>

/** An attribute of an attribute set, "USet.Health". */
struct FGameplayAttribute
{
	std::string AttributeSetName; // "USet"
	std::string AttributeName;    // "Health"

	/** "USet.Health" -> {"USet", "Health"}; false unless the text is two non-empty names joined by one '.'. */
	static bool Parse(std::string_view Text, FGameplayAttribute& Out);
	std::string GetName() const { return AttributeSetName + "." + AttributeName; }
	bool operator==(const FGameplayAttribute&) const = default;
};

class UAbilitySystemComponent : public UActorComponent
{
public:
	/** Every attribute of every set the component holds, sets and attributes in declaration order. */
	virtual std::vector<FGameplayAttribute> GetAllAttributes() const = 0;
	/** Whether a set of that name is held (names compare without regard to case). */
	virtual bool HasAttributeSet(const std::string& AttributeSetName) const = 0;
	virtual bool HasAttribute(const FGameplayAttribute& Attribute) const = 0;
	/** Current value (0 when the attribute is not held). */
	virtual double GetNumericAttribute(const FGameplayAttribute& Attribute) const = 0;
	/** Base value (0 when the attribute is not held). */
	virtual double GetNumericAttributeBase(const FGameplayAttribute& Attribute) const = 0;
	/** Sets the base value; the current value follows with active effects applied. False when not held. */
	virtual bool SetNumericAttributeBase(const FGameplayAttribute& Attribute, double Value) = 0;
};

/** The engine's UAbilitySystemGlobals lookup: the actor's ability system component, or null. */
struct UAbilitySystemGlobals
{
	static UAbilitySystemComponent* GetAbilitySystemComponentFromActor(const AActor* Actor);
};
