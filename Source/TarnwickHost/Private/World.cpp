#include "World.h"

const char* LexToString(EWorldType::Type Type)
{
	switch (Type)
	{
	case EWorldType::None: return "None";
	case EWorldType::Game: return "Game";
	case EWorldType::Editor: return "Editor";
	case EWorldType::PIE: return "PIE";
	case EWorldType::EditorPreview: return "EditorPreview";
	case EWorldType::GamePreview: return "GamePreview";
	case EWorldType::GameRPC: return "GameRPC";
	case EWorldType::Inactive: return "Inactive";
	}
	return "None";
}

UActorComponent* AActor::FindComponentByClass(const UClass* Class) const
{
	for (UActorComponent* Component : GetComponents())
	{
		if (Component && Component->IsA(Class)) return Component;
	}
	return nullptr;
}
