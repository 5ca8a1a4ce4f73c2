#include "AbilitySystemComponent.h"

bool FGameplayAttribute::Parse(std::string_view Text, FGameplayAttribute& Out)
{
	const size_t Dot = Text.find('.');
	if (Dot == std::string_view::npos || Dot == 0 || Dot + 1 >= Text.size()) return false;
	if (Text.find('.', Dot + 1) != std::string_view::npos) return false;
	Out.AttributeSetName = std::string(Text.substr(0, Dot));
	Out.AttributeName = std::string(Text.substr(Dot + 1));
	return true;
}

UAbilitySystemComponent* UAbilitySystemGlobals::GetAbilitySystemComponentFromActor(const AActor* Actor)
{
	if (!Actor) return nullptr;
	for (UActorComponent* Component : Actor->GetComponents())
	{
		if (auto* Asc = dynamic_cast<UAbilitySystemComponent*>(Component); Asc && !Asc->IsPendingKill()) return Asc;
	}
	return nullptr;
}
