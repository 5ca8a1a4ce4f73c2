#include "PieSmoke/ViewAndIdentity.h"

#include "Logs/LogTextMatch.h"
#include "UObjectGlobals.h"
#include "World.h"

namespace Tarnwick::PieSmoke
{
namespace
{
bool ContainsIgnoreCase(const std::string& Text, const std::string& Pattern)
{
	return Tarnwick::Logs::FCaseInsensitivePattern(Pattern).FoundIn(Text);
}

std::string ClassName(const UObject* Object)
{
	return Object && Object->GetClass() ? Object->GetClass()->GetName() : std::string();
}

const UClass* FindNativeClass(const char* Path)
{
	IObjectSystem* Objects = Tarnwick::Host::GetObjectSystem();
	return Objects ? Cast<UClass>(Objects->FindObject(Path)) : nullptr;
}
}

AActor* FindViewTargetActor(const std::vector<AActor*>& Actors, const std::string& Substring)
{
	for (AActor* Actor : Actors)
	{
		if (!IsValid(Actor)) continue;
		const std::string Label = Actor->GetActorLabel();
		const std::string Name = Actor->GetName();
		const std::string& Candidate = !Label.empty() ? Label : !Name.empty() ? Name : ClassName(Actor);
		if (ContainsIgnoreCase(Candidate, Substring)) return Actor;
	}
	return nullptr;
}

void ApplyViewTarget(FPieSmokeSession& Session, UWorld& World)
{
	FViewTargetState& View = Session.ViewTarget;
	View.Requested = Session.Spec.ViewTargetActor;
	APlayerController* Controller = World.GetFirstPlayerController();
	if (!Controller) return;
	if (const AActor* Current = Controller->GetViewTarget())
	{
		View.ActiveActor = Current->GetName();
		View.ActiveClass = ClassName(Current);
	}
	if (View.Requested.empty()) return;
	AActor* Target = FindViewTargetActor(World.GetActors(), View.Requested);
	if (!Target) return;
	Controller->SetViewTarget(Target);
	View.bResolved = true;
	View.ResolvedActor = Target->GetName();
	View.ResolvedClass = ClassName(Target);
	View.ActiveActor = View.ResolvedActor;
	View.ActiveClass = View.ResolvedClass;
}

void UpdateRuntimeIdentity(FRuntimeIdentity& Identity, FRuntimeIdentityLookup& Lookup, const std::string& ExpectedAnimClass, APawn* Pawn)
{
	if (!IsValid(Pawn)) return;
	if (Lookup.Pawn.Get() != Pawn)
	{
		Lookup = FRuntimeIdentityLookup();
		Lookup.Pawn = Pawn;
		Identity.Actor = Pawn->GetName();
		Identity.ActorClass = ClassName(Pawn);
		Identity.ExpectedAnimClass = ExpectedAnimClass;
		const UClass* SkeletalMeshClass = FindNativeClass("/Script/Engine.SkeletalMeshComponent");
		UActorComponent* Mesh = SkeletalMeshClass ? Pawn->FindComponentByClass(SkeletalMeshClass) : nullptr;
		Identity.SkelComp = Mesh ? Mesh->GetName() : std::string();
		if (Mesh && Mesh->GetClass())
		{
			Lookup.Mesh = Mesh;
			Lookup.AnimInstance = Mesh->GetClass()->FindPropertyByName("AnimScriptInstance");
			Lookup.AnimationMode = Mesh->GetClass()->FindPropertyByName("AnimationMode");
			Lookup.AnimClass = Mesh->GetClass()->FindPropertyByName("AnimClass");
		}
	}
	const UActorComponent* Mesh = Lookup.Mesh.Get();
	if (!Mesh) return;
	FPropertyValue Value;
	if (Lookup.AnimInstance && Mesh->GetPropertyValue(*Lookup.AnimInstance, Value)) Identity.AnimInstanceClass = ClassName(Value.ObjectValue.Get());
	if (Lookup.AnimationMode && Mesh->GetPropertyValue(*Lookup.AnimationMode, Value)) Identity.AnimationMode = Value.StringValue;
	std::string AnimClass;
	if (Lookup.AnimClass && Mesh->GetPropertyValue(*Lookup.AnimClass, Value) && Value.ObjectValue.Get())
	{
		AnimClass = Value.ObjectValue.Get()->GetPathName();
	}
	if (AnimClass == Identity.MeshAnimClass && !Identity.MeshAnimClass.empty()) return;
	if (!Identity.MeshAnimClass.empty()) Identity.bAnimClassChanged = true;
	Identity.MeshAnimClass = AnimClass;
	Identity.bExpectedMismatch = !ExpectedAnimClass.empty() && !ContainsIgnoreCase(AnimClass, ExpectedAnimClass);
}
}
