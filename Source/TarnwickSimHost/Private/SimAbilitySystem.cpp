#include "SimAbilitySystem.h"

#include "Printf.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace Tarnwick::Sim
{
namespace
{
bool EqualsNoCase(const std::string& A, const std::string& B)
{
	return A.size() == B.size() &&
		std::equal(A.begin(), A.end(), B.begin(), [](char X, char Y) { return std::tolower(static_cast<unsigned char>(X)) == std::tolower(static_cast<unsigned char>(Y)); });
}
}

const FSimAbilitySystemComponent::FSet* FSimAbilitySystemComponent::FindSet(const std::string& Name) const
{
	for (const FSet& S : Sets)
	{
		if (EqualsNoCase(S.Name, Name)) return &S;
	}
	return nullptr;
}

const FSimAbilitySystemComponent::FAttribute* FSimAbilitySystemComponent::Find(const FGameplayAttribute& Attribute) const
{
	const FSet* Set = FindSet(Attribute.AttributeSetName);
	if (!Set) return nullptr;
	for (const FAttribute& A : Set->Attributes)
	{
		if (EqualsNoCase(A.Def.Name, Attribute.AttributeName)) return &A;
	}
	return nullptr;
}

FSimAbilitySystemComponent::FAttribute* FSimAbilitySystemComponent::Find(const FGameplayAttribute& Attribute)
{
	return const_cast<FAttribute*>(static_cast<const FSimAbilitySystemComponent*>(this)->Find(Attribute));
}

std::vector<FGameplayAttribute> FSimAbilitySystemComponent::GetAllAttributes() const
{
	std::vector<FGameplayAttribute> Out;
	for (const FSet& S : Sets)
	{
		for (const FAttribute& A : S.Attributes) Out.push_back(FGameplayAttribute{S.Name, A.Def.Name});
	}
	return Out;
}

bool FSimAbilitySystemComponent::HasAttributeSet(const std::string& AttributeSetName) const { return FindSet(AttributeSetName) != nullptr; }
bool FSimAbilitySystemComponent::HasAttribute(const FGameplayAttribute& Attribute) const { return Find(Attribute) != nullptr; }

double FSimAbilitySystemComponent::GetNumericAttribute(const FGameplayAttribute& Attribute) const
{
	const FAttribute* A = Find(Attribute);
	return A ? A->Current : 0.0;
}

double FSimAbilitySystemComponent::GetNumericAttributeBase(const FGameplayAttribute& Attribute) const
{
	const FAttribute* A = Find(Attribute);
	return A ? A->Def.Base : 0.0;
}

bool FSimAbilitySystemComponent::SetNumericAttributeBase(const FGameplayAttribute& Attribute, double Value)
{
	FAttribute* A = Find(Attribute);
	if (!A) return false;
	A->Def.Base = Value;
	Recompute();
	return true;
}

void FSimAbilitySystemComponent::InitAttributes(const std::vector<FSimAttributeSetDef>& Defs)
{
	Sets.clear();
	Active.clear();
	for (const FSimAttributeSetDef& D : Defs)
	{
		FSet S;
		S.Name = D.Name;
		for (const FSimAttributeDef& A : D.Attributes) S.Attributes.push_back(FAttribute{A, A.Base});
		Sets.push_back(std::move(S));
	}
	Recompute();
}

void FSimAbilitySystemComponent::CopyGameplayStateFrom(ISimObject& Source)
{
	if (auto* Other = dynamic_cast<FSimAbilitySystemComponent*>(&Source))
	{
		Sets = Other->Sets;
		Active = Other->Active;
	}
}

double FSimAbilitySystemComponent::Bound(const FSet& Set, const std::optional<double>& Value, const std::string& Attribute, double Fallback) const
{
	if (Value) return *Value;
	if (Attribute.empty()) return Fallback;
	for (const FAttribute& A : Set.Attributes)
	{
		if (A.Def.Name == Attribute) return A.Current;
	}
	return Fallback;
}

void FSimAbilitySystemComponent::Recompute()
{
	// Twice: a bound read from another attribute settles once that attribute has its own current value.
	for (int Pass = 0; Pass < 2; ++Pass)
	{
		for (FSet& S : Sets)
		{
			for (FAttribute& A : S.Attributes)
			{
				const double Lo = Bound(S, A.Def.MinValue, A.Def.MinAttribute, -INFINITY);
				const double Hi = Bound(S, A.Def.MaxValue, A.Def.MaxAttribute, INFINITY);
				A.Def.Base = std::clamp(A.Def.Base, Lo, std::max(Lo, Hi));
				double Add = 0.0, Mul = 1.0;
				std::optional<double> Override;
				for (const FActiveEffect& E : Active)
				{
					if (E.Spec.Period > 0.0 || !EqualsNoCase(E.Spec.Attribute.AttributeSetName, S.Name) ||
						!EqualsNoCase(E.Spec.Attribute.AttributeName, A.Def.Name))
					{
						continue;
					}
					if (E.Spec.Op == ESimEffectOp::Add) Add += E.Spec.Magnitude;
					else if (E.Spec.Op == ESimEffectOp::Multiply) Mul *= E.Spec.Magnitude;
					else Override = E.Spec.Magnitude;
				}
				A.Current = std::clamp(Override ? *Override : (A.Def.Base + Add) * Mul, Lo, std::max(Lo, Hi));
			}
		}
	}
}

bool FSimAbilitySystemComponent::ApplyEffect(const FSimGameplayEffectSpec& Spec, double Now)
{
	FAttribute* A = Find(Spec.Attribute);
	if (!A) return false;
	if (Spec.Duration == ESimEffectDuration::Instant)
	{
		A->Def.Base = ApplyEffectOp(Spec.Op, A->Def.Base, Spec.Magnitude);
		Recompute();
		return true;
	}
	FActiveEffect E{Spec, Now, Now};
	Active.push_back(E);
	if (Spec.Period > 0.0) TickEffects(Now);
	else Recompute();
	return true;
}

void FSimAbilitySystemComponent::TickEffects(double Now)
{
	bool bChanged = false;
	for (FActiveEffect& E : Active)
	{
		if (E.Spec.Period <= 0.0) continue;
		// Executions at the start and every period after, while the effect lasts (an execution due exactly when it
		// ends does not happen).
		while (E.NextExecution <= Now + 1e-9 &&
			(E.Spec.Duration == ESimEffectDuration::Infinite || E.NextExecution - E.Start < E.Spec.DurationSeconds - 1e-9))
		{
			if (FAttribute* A = Find(E.Spec.Attribute)) A->Def.Base = ApplyEffectOp(E.Spec.Op, A->Def.Base, E.Spec.Magnitude);
			E.NextExecution += E.Spec.Period;
			bChanged = true;
			Recompute();
		}
	}
	const size_t Before = Active.size();
	std::erase_if(Active, [&](const FActiveEffect& E) {
		return E.Spec.Duration == ESimEffectDuration::HasDuration && Now >= E.Start + E.Spec.DurationSeconds - 1e-9;
	});
	if (bChanged || Active.size() != Before) Recompute();
}

FSimJson FSimAbilitySystemComponent::Describe() const
{
	FSimJson Out = FSimJson::object();
	for (const FSet& S : Sets)
	{
		for (const FAttribute& A : S.Attributes) Out[S.Name + "." + A.Def.Name] = FSimJson::array({A.Current, A.Def.Base});
	}
	return Out;
}
}
