// get_attribute_value: one gameplay attribute of an actor's ability system component, in the PIE world while
// PIE runs, else in the editor world (where it holds its defaults).
#include "Catalogue/GameplayCatalogue.h"
#include "Common/GameplayWorlds.h"
#include "GameplayHandlers.h"

#include "AbilitySystemComponent.h"
#include "Printf.h"
#include "TarnwickDiagnostics.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace Tarnwick::Gameplay
{
namespace
{
FTarnwickActionResult GetAttributeValue(const FJsonPtr& Params)
{
	FTarnwickActionResult Error;
	std::string ActorName, AttributeText;
	if (!Tarnwick::Diagnostics::RequireString(Params, "actor", ActorName, Error) ||
		!Tarnwick::Diagnostics::RequireString(Params, "attribute", AttributeText, Error))
	{
		return Error;
	}
	FGameplayAttribute Attribute;
	if (!FGameplayAttribute::Parse(AttributeText, Attribute))
	{
		return InvalidParam("attribute",
			Tarnwick::Printf("Parameter 'attribute' must be '<AttributeSet>.<Attribute>' such as 'USet.Health' (got '%s')", AttributeText.c_str()));
	}
	std::string Which;
	UWorld* World = ResolveWorld(EWorldChoice::Auto, Which, Error);
	if (!World) return Error;
	AActor* Actor = RequireActor(World, Which, ActorName, Error);
	if (!Actor) return Error;
	const UAbilitySystemComponent* Asc = UAbilitySystemGlobals::GetAbilitySystemComponentFromActor(Actor);
	if (!Asc) return EditorFailure(Tarnwick::Printf("'%s' has no AbilitySystemComponent, so it has no attributes", Actor->GetActorLabel().c_str()));
	auto List = [&](bool bSets) {
		std::vector<std::string> Names;
		for (const FGameplayAttribute& A : Asc->GetAllAttributes())
		{
			const std::string& Name = bSets ? A.AttributeSetName : A.AttributeName;
			if (!bSets && A.AttributeSetName != Attribute.AttributeSetName) continue;
			if (std::find(Names.begin(), Names.end(), Name) == Names.end()) Names.push_back(Name);
		}
		std::string Out;
		for (const std::string& N : Names) Out += (Out.empty() ? "" : ", ") + N;
		return Out.empty() ? std::string("none") : Out;
	};
	if (!Asc->HasAttributeSet(Attribute.AttributeSetName))
	{
		return EditorFailure(Tarnwick::Printf("'%s' has no attribute set '%s' (its sets: %s)", Actor->GetActorLabel().c_str(),
			Attribute.AttributeSetName.c_str(), List(true).c_str()));
	}
	if (!Asc->HasAttribute(Attribute))
	{
		return InvalidParam("attribute", Tarnwick::Printf("'%s' has no attribute '%s' (its attributes: %s)", Attribute.AttributeSetName.c_str(),
											 Attribute.AttributeName.c_str(), List(false).c_str()));
	}
	// Names compare without regard to case; the reply spells the attribute as its set declares it.
	const std::string Wanted = Attribute.GetName();
	for (const FGameplayAttribute& Held : Asc->GetAllAttributes())
	{
		const std::string Name = Held.GetName();
		if (Name.size() == Wanted.size() && std::equal(Name.begin(), Name.end(), Wanted.begin(), [](char A, char B) {
				return std::tolower(static_cast<unsigned char>(A)) == std::tolower(static_cast<unsigned char>(B));
			}))
		{
			Attribute = Held;
		}
	}
	FJson Result = FJson::object();
	Result["actor"] = Actor->GetActorLabel();
	Result["attribute"] = Attribute.GetName();
	Result["current_value"] = Asc->GetNumericAttribute(Attribute);
	Result["base_value"] = Asc->GetNumericAttributeBase(Attribute);
	Result["world"] = Which;
	return FTarnwickActionResult::Success(std::move(Result));
}
}

void AddGasHandlers(FGameplayHandlerTable& Table)
{
	Table[{GasNamespace, "get_attribute_value"}] = GetAttributeValue;
}
}
