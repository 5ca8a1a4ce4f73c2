// Gameplay attributes in the simulated game: attribute sets declared in Blueprints and map actors, the ability
// system component that holds them, and gameplay effects that change them.
//
// A set is declared as {"USet": {"Health": 100, "MaxHealth": {"Base": 100}, "Stamina": {"Base": 50, "Min": 0,
// "Max": "MaxStamina"}}}: each attribute has a base value and optional bounds (a number, or the name of another
// attribute of the set whose current value is the bound). An effect changes one attribute:
//   Instant                 the base value changes once (Add, Multiply or Override by Magnitude);
//   Period > 0              the same change is made to the base at application and then every Period seconds,
//                           while the effect lasts (Duration seconds, or forever when "Infinite");
//   Duration without Period the change applies to the current value only while the effect lasts, then goes away.
// The current value is ((base + sum of active Adds) * product of active Multiplies), or the latest active
// Override; base and current are held within the bounds after every change. Times are the world's game seconds.
#pragma once
#include "SimAttributeRules.h"
#include "SimObjects.h"

#include <optional>
#include <string>
#include <vector>

namespace Tarnwick::Sim
{
class FSimAbilitySystemComponent final : public TSimComponent<UAbilitySystemComponent>
{
public:
	std::vector<FGameplayAttribute> GetAllAttributes() const override;
	bool HasAttributeSet(const std::string& AttributeSetName) const override;
	bool HasAttribute(const FGameplayAttribute& Attribute) const override;
	double GetNumericAttribute(const FGameplayAttribute& Attribute) const override;
	double GetNumericAttributeBase(const FGameplayAttribute& Attribute) const override;
	bool SetNumericAttributeBase(const FGameplayAttribute& Attribute, double Value) override;
	void CopyGameplayStateFrom(ISimObject& Source) override;

	/** Replaces the sets with these definitions at their base values; active effects are dropped. */
	void InitAttributes(const std::vector<FSimAttributeSetDef>& Sets);
	/** Applies an effect at game time Now; false when the attribute is not held (nothing changes). */
	bool ApplyEffect(const FSimGameplayEffectSpec& Spec, double Now);
	/** Runs due periodic executions and removes expired effects, up to game time Now. */
	void TickEffects(double Now);
	int32 GetNumActiveEffects() const { return static_cast<int32>(Active.size()); }
	/** {"USet.Health": [current, base], ...} for state dumps. */
	FSimJson Describe() const;

private:
	struct FAttribute
	{
		FSimAttributeDef Def;
		double Current = 0.0;
	};
	struct FSet
	{
		std::string Name;
		std::vector<FAttribute> Attributes;
	};
	struct FActiveEffect
	{
		FSimGameplayEffectSpec Spec;
		double Start = 0.0;
		double NextExecution = 0.0;
	};
	FAttribute* Find(const FGameplayAttribute& Attribute);
	const FAttribute* Find(const FGameplayAttribute& Attribute) const;
	const FSet* FindSet(const std::string& Name) const;
	/** The current values from the bases and the active modifiers, then the bounds. */
	void Recompute();
	double Bound(const FSet& Set, const std::optional<double>& Value, const std::string& Attribute, double Fallback) const;

	std::vector<FSet> Sets;
	std::vector<FActiveEffect> Active;
};
}
