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

bool ReadProperty(const UObject& Object, const char* Name, FPropertyValue& Out)
{
	const UClass* Class = Object.GetClass();
	const FProperty* Property = Class ? Class->FindPropertyByName(Name) : nullptr;
	return Property && Object.GetPropertyValue(*Property, Out);
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

void UpdateRuntimeIdentity(FRuntimeIdentity& Identity, const std::string& ExpectedAnimClass, const APawn* Pawn)
{
	Identity.ExpectedAnimClass = ExpectedAnimClass;
	if (!IsValid(Pawn)) return;
	Identity.Actor = Pawn->GetName();
	Identity.ActorClass = ClassName(Pawn);
	const UClass* SkeletalMeshClass = FindNativeClass("/Script/Engine.SkeletalMeshComponent");
	const UActorComponent* Mesh = SkeletalMeshClass ? Pawn->FindComponentByClass(SkeletalMeshClass) : nullptr;
	if (!Mesh) return;
	Identity.SkelComp = Mesh->GetName();
	FPropertyValue Value;
	if (ReadProperty(*Mesh, "AnimScriptInstance", Value)) Identity.AnimInstanceClass = ClassName(Value.ObjectValue.Get());
	if (ReadProperty(*Mesh, "AnimationMode", Value)) Identity.AnimationMode = Value.StringValue;
	std::string AnimClass;
	if (ReadProperty(*Mesh, "AnimClass", Value) && Value.ObjectValue.Get()) AnimClass = Value.ObjectValue.Get()->GetPathName();
	if (!Identity.MeshAnimClass.empty() && AnimClass != Identity.MeshAnimClass) Identity.bAnimClassChanged = true;
	Identity.MeshAnimClass = AnimClass;
	Identity.bExpectedMismatch = !ExpectedAnimClass.empty() && !ContainsIgnoreCase(AnimClass, ExpectedAnimClass);
}
}
