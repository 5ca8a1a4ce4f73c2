// Classes, Blueprint inheritance and defaults, reflected reads and writes of every property type, path names,
// and weak handles after destruction, on the Arena sample and on throwaway projects.
#include "SimTestUtils.h"

#include "UObjectGlobals.h"

using namespace Tarnwick::Sim;
using namespace Tarnwick::Sim::Test;

namespace
{
UClass* Load(const std::string& Path)
{
	std::string Error;
	UClass* C = Tarnwick::Host::GetObjectSystem()->LoadClass(Path, &Error);
	EXPECT_TRUE(C) << Path << ": " << Error;
	return C;
}

bool Write(UObject* Object, const std::string& Name, const FPropertyValue& Value, std::string* Error = nullptr)
{
	const FProperty* P = Object->GetClass()->FindPropertyByName(Name);
	EXPECT_TRUE(P) << Name;
	std::string Local;
	return P && Object->SetPropertyValue(*P, Value, Error ? Error : &Local);
}
}

TEST(SimObjectModel, NativeClassesHaveEnginePathsAndHierarchy)
{
	auto Host = MakeArenaHost();
	const std::pair<const char*, const char*> ChildOf[] = {
		{"/Script/Engine.Character", "/Script/Engine.Pawn"},
		{"/Script/Engine.Pawn", "/Script/Engine.Actor"},
		{"/Script/Engine.PlayerController", "/Script/Engine.Controller"},
		{"/Script/AIModule.AIController", "/Script/Engine.Controller"},
		{"/Script/Engine.GameModeBase", "/Script/Engine.Info"},
		{"/Script/Engine.GameStateBase", "/Script/Engine.Actor"},
		{"/Script/Engine.PlayerState", "/Script/Engine.Actor"},
		{"/Script/Engine.WorldSettings", "/Script/Engine.Actor"},
		{"/Script/Engine.StaticMeshActor", "/Script/Engine.Actor"},
		{"/Script/Engine.SkeletalMeshActor", "/Script/Engine.Actor"},
		{"/Script/Engine.CameraActor", "/Script/Engine.Actor"},
		{"/Script/Engine.TargetPoint", "/Script/Engine.Actor"},
		{"/Script/Engine.PlayerStart", "/Script/Engine.NavigationObjectBase"},
		{"/Script/NavigationSystem.NavMeshBoundsVolume", "/Script/Engine.Volume"},
		{"/Script/Engine.PostProcessVolume", "/Script/Engine.Volume"},
		{"/Script/Engine.SpotLight", "/Script/Engine.Light"},
		{"/Script/Engine.PointLight", "/Script/Engine.Light"},
		{"/Script/Engine.DirectionalLight", "/Script/Engine.Light"},
		{"/Script/Engine.StaticMeshComponent", "/Script/Engine.SceneComponent"},
		{"/Script/Engine.SkeletalMeshComponent", "/Script/Engine.PrimitiveComponent"},
		{"/Script/Engine.CharacterMovementComponent", "/Script/Engine.ActorComponent"},
	};
	for (const auto& [Child, Parent] : ChildOf)
	{
		UClass* C = Load(Child);
		UClass* P = Load(Parent);
		ASSERT_TRUE(C && P);
		EXPECT_TRUE(C->IsChildOf(P)) << Child;
		EXPECT_FALSE(P->IsChildOf(C)) << Parent;
		EXPECT_EQ(C->GetPathName(), Child);
		EXPECT_TRUE(C->IsNative());
	}
	UClass* Character = Load("/Script/Engine.Character");
	EXPECT_EQ(Character->GetName(), "Character");
	EXPECT_EQ(Character->GetOuter()->GetName(), "/Script/Engine");
	EXPECT_EQ(Character->GetClass()->GetPathName(), "/Script/CoreUObject.Class");
	EXPECT_EQ(Character->GetSuperClass()->GetPathName(), "/Script/Engine.Pawn");
	// Inherited properties come first, and names compare without regard to case, as FNames do.
	EXPECT_EQ(Character->GetProperties().front()->Name, "Tags");
	EXPECT_EQ(Character->FindPropertyByName("maxwalkspeed"), nullptr);
	ASSERT_TRUE(Character->FindPropertyByName("autopossessplayer"));
	EXPECT_EQ(Character->FindPropertyByName("autopossessplayer")->Name, "AutoPossessPlayer");

	std::string Error;
	EXPECT_FALSE(Tarnwick::Host::GetObjectSystem()->LoadClass("/Script/Engine.Nope", &Error));
	EXPECT_EQ(Error, "no native class or object '/Script/Engine.Nope'");
	EXPECT_FALSE(Tarnwick::Host::GetObjectSystem()->LoadClass("/Engine/BasicShapes/Cube.Cube", &Error));
	EXPECT_EQ(Error, "'/Engine/BasicShapes/Cube.Cube' is a StaticMesh, not a class");
}

TEST(SimObjectModel, BlueprintClassesInheritAndOverrideDefaults)
{
	FTempProject P;
	P.Write("Content/BP_Base.uasset", R"({"Type":"Blueprint","ParentClass":"/Script/Engine.Character",
		"Variables":[{"Name":"Health","Type":"float","Default":100},{"Name":"Team","Type":"FName","Default":"Red"}],
		"Defaults":{"BaseEyeHeight":70},
		"ComponentDefaults":{"CharMoveComp":{"MaxWalkSpeed":450}}})");
	P.Write("Content/Sub/BP_Child.uasset", R"({"Type":"Blueprint","ParentClass":"/Game/BP_Base.BP_Base_C",
		"Variables":[{"Name":"Armor","Type":"int32","Default":5}],
		"Components":[{"Name":"Weapon","Class":"/Script/Engine.StaticMeshComponent"}],
		"Defaults":{"Health":150},
		"ComponentDefaults":{"Weapon":{"StaticMesh":"/Engine/BasicShapes/Cube.Cube"},"CharMoveComp":{"JumpZVelocity":600}}})");
	auto Host = MakeHost(P.Path());
	UClass* Child = Load("/Game/Sub/BP_Child.BP_Child_C");
	UClass* Base = Load("/Game/BP_Base.BP_Base_C");
	ASSERT_TRUE(Child && Base);
	EXPECT_EQ(Child->GetSuperClass(), Base);
	EXPECT_TRUE(Child->IsChildOf(Load("/Script/Engine.Character")));
	EXPECT_FALSE(Child->IsNative());
	EXPECT_EQ(Child->GetClass()->GetPathName(), "/Script/Engine.BlueprintGeneratedClass");
	EXPECT_EQ(Child->GetDefaultObject()->GetName(), "Default__BP_Child_C");

	const UObject* CDO = Child->GetDefaultObject();
	EXPECT_EQ(ReadProperty(CDO, "Health").DoubleValue, 150.0);
	EXPECT_EQ(ReadProperty(CDO, "Team").StringValue, "Red");
	EXPECT_EQ(ReadProperty(CDO, "Armor").IntValue, 5);
	EXPECT_EQ(ReadProperty(CDO, "BaseEyeHeight").DoubleValue, 70.0);
	EXPECT_EQ(ReadProperty(Base->GetDefaultObject(), "Health").DoubleValue, 100.0);
	EXPECT_EQ(Base->FindPropertyByName("Armor"), nullptr);

	// Both Blueprints are loaded, parent first.
	const std::vector<UBlueprint*> BPs = Tarnwick::Host::GetObjectSystem()->GetLoadedBlueprints();
	ASSERT_EQ(BPs.size(), 2u);
	EXPECT_EQ(BPs[0]->GetPathName(), "/Game/BP_Base.BP_Base");
	EXPECT_EQ(BPs[1]->GetGeneratedClass(), Child);
	EXPECT_EQ(BPs[1]->GetParentClass(), Base);

	// Spawned instances get the inherited component defaults and their own.
	UWorld* World = GEditor->GetEditorWorld();
	std::string Error;
	AActor* Hero = World->SpawnActor(Child, FActorSpawnParameters(), &Error);
	ASSERT_TRUE(Hero) << Error;
	EXPECT_EQ(Hero->GetName(), "BP_Child_C_0");
	EXPECT_EQ(Hero->GetActorLabel(), "BP_Child");
	UActorComponent* Move = Hero->FindComponentByClass(Load("/Script/Engine.CharacterMovementComponent"));
	ASSERT_TRUE(Move);
	EXPECT_EQ(ReadProperty(Move, "MaxWalkSpeed").DoubleValue, 450.0);
	EXPECT_EQ(ReadProperty(Move, "JumpZVelocity").DoubleValue, 600.0);
	EXPECT_EQ(ReadProperty(Hero, "CharacterMovement").ObjectValue.Get(), Move);
	std::vector<std::string> Names;
	for (UActorComponent* C : Hero->GetComponents()) Names.push_back(C->GetName());
	EXPECT_EQ(Names, (std::vector<std::string>{"CollisionCylinder", "CharacterMesh0", "CharMoveComp", "Weapon"}));
	EXPECT_EQ(Hero->GetRootComponent()->GetName(), "CollisionCylinder");
	EXPECT_EQ(ReadProperty(Hero->GetComponents()[3], "StaticMesh").ObjectValue.Get()->GetPathName(), "/Engine/BasicShapes/Cube.Cube");
}

TEST(SimObjectModel, BlueprintLoadFailuresNameTheFile)
{
	FTempProject P;
	P.Write("Content/BP_Loop_A.uasset", R"({"Type":"Blueprint","ParentClass":"/Game/BP_Loop_B.BP_Loop_B_C"})");
	P.Write("Content/BP_Loop_B.uasset", R"({"Type":"Blueprint","ParentClass":"/Game/BP_Loop_A.BP_Loop_A_C"})");
	P.Write("Content/BP_BadVar.uasset", R"({"Type":"Blueprint","ParentClass":"/Script/Engine.Actor","Variables":[{"Name":"Tags","Type":"int32"}]})");
	P.Write("Content/BP_BadDefault.uasset", R"({"Type":"Blueprint","ParentClass":"/Script/Engine.Actor","Defaults":{"bHidden":"yes"}})");
	P.Write("Content/BP_NoComp.uasset", R"({"Type":"Blueprint","ParentClass":"/Script/Engine.Actor","ComponentDefaults":{"Mesh":{}}})");
	P.Write("Content/BP_BadParent.uasset", R"({"Type":"Blueprint","ParentClass":"/Game/BP_BadVar.BP_BadVar_C"})");
	P.Write("Content/ABP_Wrong.uasset", R"({"Type":"AnimBlueprint","ParentClass":"/Script/Engine.Actor"})");
	P.Write("Content/BP_Truncated.uasset", R"({"Type":"Blueprint","ParentClass":)");
	auto Host = MakeHost(P.Path());
	IObjectSystem* Objects = Tarnwick::Host::GetObjectSystem();
	const size_t Before = Host->GetObjects().NumObjects();
	const std::pair<const char*, const char*> Cases[] = {
		{"/Game/BP_Loop_A.BP_Loop_A_C",
			"Content/BP_Loop_A.uasset: ParentClass '/Game/BP_Loop_B.BP_Loop_B_C' failed to load: Content/BP_Loop_B.uasset: ParentClass "
			"'/Game/BP_Loop_A.BP_Loop_A_C' failed to load: Content/BP_Loop_A.uasset: its parent class leads back to itself (circular "
			"Blueprint inheritance)"},
		{"/Game/BP_BadVar.BP_BadVar_C", "Content/BP_BadVar.uasset: Variables[0] (Tags): the parent class already has a property of that name"},
		{"/Game/BP_BadDefault.BP_BadDefault_C", "Content/BP_BadDefault.uasset: Defaults: property 'bHidden' (bool) expects true or false, got string"},
		{"/Game/BP_NoComp.BP_NoComp_C", "Content/BP_NoComp.uasset: ComponentDefaults: BP_NoComp_C has no component \"Mesh\""},
		{"/Game/BP_BadParent.BP_BadParent_C",
			"Content/BP_BadParent.uasset: ParentClass '/Game/BP_BadVar.BP_BadVar_C' failed to load: Content/BP_BadVar.uasset: Variables[0] "
			"(Tags): the parent class already has a property of that name"},
		{"/Game/ABP_Wrong.ABP_Wrong_C",
			"Content/ABP_Wrong.uasset: an AnimBlueprint's ParentClass must derive from /Script/Engine.AnimInstance; /Script/Engine.Actor does not"},
		{"/Game/BP_Truncated.BP_Truncated_C",
			"Content/BP_Truncated.uasset: not valid JSON (parse error at line 1, column 35: syntax error while parsing value - unexpected end "
			"of input; expected '[', '{', or a literal)"},
		{"/Game/BP_Missing.BP_Missing_C", "no such package '/Game/BP_Missing' (expected Content/BP_Missing.uasset)"},
		{"/Game/Bad Name.X", "'/Game/Bad Name' is not a valid package name: the name contains a character a package name cannot have"},
		{"/Other/Thing.Thing", "no mount point for '/Other/Thing' (project content is under /Game/)"},
	};
	for (const auto& [Path, Expected] : Cases)
	{
		std::string Error;
		EXPECT_FALSE(Objects->LoadClass(Path, &Error)) << Path;
		EXPECT_EQ(Error, Expected);
	}
	// A failed load leaves nothing behind, and the same asset fails the same way again.
	Host->StepFrame();
	EXPECT_EQ(Host->GetObjects().NumObjects(), Before);
	EXPECT_TRUE(Objects->GetLoadedBlueprints().empty());
	std::string Error;
	EXPECT_FALSE(Objects->LoadClass("/Game/BP_BadVar.BP_BadVar_C", &Error));
	EXPECT_EQ(Error, "Content/BP_BadVar.uasset: Variables[0] (Tags): the parent class already has a property of that name");
}

TEST(SimObjectModel, ReflectedReadsAndWritesOfEveryType)
{
	FTempProject P;
	P.Write("Content/BP_AllTypes.uasset", R"({"Type":"Blueprint","ParentClass":"/Script/Engine.Actor","Variables":[
		{"Name":"B","Type":"bool","Default":true},
		{"Name":"I32","Type":"int32","Default":-3},
		{"Name":"I64","Type":"int64","Default":5000000000},
		{"Name":"F","Type":"float","Default":1.5},
		{"Name":"D","Type":"double","Default":2.25},
		{"Name":"E","Type":"enum:EMovementMode","Default":"MOVE_Flying"},
		{"Name":"S","Type":"FString","Default":"str"},
		{"Name":"N","Type":"FName","Default":"name"},
		{"Name":"T","Type":"FText","Default":"text"},
		{"Name":"V","Type":"FVector","Default":[1,2,3]},
		{"Name":"R","Type":"FRotator","Default":[4,5,6]},
		{"Name":"O","Type":"object:/Script/Engine.StaticMesh","Default":"/Engine/BasicShapes/Sphere.Sphere"},
		{"Name":"C","Type":"class:/Script/Engine.Pawn","Default":"/Script/Engine.Character"},
		{"Name":"SO","Type":"softobject:/Script/Engine.StaticMesh","Default":"/Engine/BasicShapes/Cone.Cone"},
		{"Name":"SC","Type":"softclass:/Script/Engine.Actor","Default":"/Script/Engine.PointLight"},
		{"Name":"St","Type":"struct:FColor","Default":{"R":9}},
		{"Name":"A","Type":"array:FVector","Default":[[1,1,1],[2,2,2]]}]})");
	auto Host = MakeHost(P.Path());
	std::string Error;
	AActor* A = GEditor->GetEditorWorld()->SpawnActor(Load("/Game/BP_AllTypes.BP_AllTypes_C"), FActorSpawnParameters(), &Error);
	ASSERT_TRUE(A) << Error;

	EXPECT_TRUE(ReadProperty(A, "B").bValue);
	EXPECT_EQ(ReadProperty(A, "I32").IntValue, -3);
	EXPECT_EQ(ReadProperty(A, "I64").IntValue, 5000000000);
	EXPECT_EQ(ReadProperty(A, "F").DoubleValue, 1.5);
	EXPECT_EQ(ReadProperty(A, "D").DoubleValue, 2.25);
	EXPECT_EQ(ReadProperty(A, "E").StringValue, "MOVE_Flying");
	EXPECT_EQ(ReadProperty(A, "E").IntValue, 5);
	EXPECT_EQ(ReadProperty(A, "S").StringValue, "str");
	EXPECT_EQ(ReadProperty(A, "N").Type, EPropertyType::Name);
	EXPECT_EQ(ReadProperty(A, "T").StringValue, "text");
	EXPECT_EQ(ReadProperty(A, "V").VectorValue, FVector(1, 2, 3));
	EXPECT_EQ(ReadProperty(A, "R").RotatorValue, FRotator(4, 5, 6));
	EXPECT_EQ(ReadProperty(A, "O").ObjectValue.Get()->GetPathName(), "/Engine/BasicShapes/Sphere.Sphere");
	EXPECT_EQ(ReadProperty(A, "C").ObjectValue.Get(), Load("/Script/Engine.Character"));
	EXPECT_EQ(ReadProperty(A, "SO").StringValue, "/Engine/BasicShapes/Cone.Cone");
	EXPECT_EQ(ReadProperty(A, "SC").StringValue, "/Script/Engine.PointLight");
	EXPECT_EQ(ReadProperty(A, "St").FindField("R")->IntValue, 9);
	EXPECT_EQ(ReadProperty(A, "St").FindField("A")->IntValue, 255);
	ASSERT_EQ(ReadProperty(A, "A").Elements.size(), 2u);
	EXPECT_EQ(ReadProperty(A, "A").Elements[1].VectorValue, FVector(2, 2, 2));

	// Writes: each type, with the widening the engine's setters allow.
	EXPECT_TRUE(Write(A, "B", FPropertyValue::MakeBool(false)));
	EXPECT_TRUE(Write(A, "I32", FPropertyValue::MakeInt32(42)));
	EXPECT_TRUE(Write(A, "I64", FPropertyValue::MakeInt32(7)));
	EXPECT_EQ(ReadProperty(A, "I64").Type, EPropertyType::Int64);
	EXPECT_TRUE(Write(A, "F", FPropertyValue::MakeDouble(0.1)));
	EXPECT_EQ(ReadProperty(A, "F").DoubleValue, static_cast<double>(0.1f));
	EXPECT_TRUE(Write(A, "D", FPropertyValue::MakeInt64(3)));
	EXPECT_TRUE(Write(A, "E", FPropertyValue::MakeString(EPropertyType::Name, "MOVE_Walking")));
	EXPECT_EQ(ReadProperty(A, "E").IntValue, 1);
	EXPECT_TRUE(Write(A, "S", FPropertyValue::MakeString(EPropertyType::Name, "from name")));
	EXPECT_EQ(ReadProperty(A, "S").Type, EPropertyType::String);
	EXPECT_TRUE(Write(A, "T", FPropertyValue::MakeString(EPropertyType::Text, "new text")));
	EXPECT_TRUE(Write(A, "V", FPropertyValue::MakeVector(FVector(-1, 0, 1))));
	EXPECT_TRUE(Write(A, "R", FPropertyValue::MakeRotator(FRotator(0, 90, 0))));
	EXPECT_TRUE(Write(A, "O", FPropertyValue::MakeObject(nullptr)));
	EXPECT_FALSE(ReadProperty(A, "O").ObjectValue.IsValid());
	EXPECT_TRUE(Write(A, "C", FPropertyValue::MakeClass(Load("/Script/Engine.DefaultPawn"))));
	EXPECT_TRUE(Write(A, "SO", FPropertyValue::MakeSoftPath(EPropertyType::SoftObject, "")));
	FPropertyValue Color = ReadProperty(A, "St");
	Color.Fields[0].Value = FPropertyValue::MakeInt32(77);
	EXPECT_TRUE(Write(A, "St", Color));
	EXPECT_EQ(ReadProperty(A, "St").FindField("B")->IntValue, 77);
	FPropertyValue Arr = ReadProperty(A, "A");
	Arr.Elements.push_back(FPropertyValue::MakeVector(FVector(3, 3, 3)));
	EXPECT_TRUE(Write(A, "A", Arr));
	EXPECT_EQ(ReadProperty(A, "A").Elements.size(), 3u);

	// Refusals leave the value alone and say why.
	EXPECT_FALSE(Write(A, "I32", FPropertyValue::MakeString(EPropertyType::String, "x"), &Error));
	EXPECT_EQ(Error, "property 'I32' is int32; a StrProperty value does not fit");
	EXPECT_FALSE(Write(A, "I32", FPropertyValue::MakeInt64(1ll << 40), &Error));
	EXPECT_EQ(Error, "property 'I32' (int32): 1099511627776 is out of range");
	EXPECT_FALSE(Write(A, "C", FPropertyValue::MakeClass(Load("/Script/Engine.StaticMeshActor")), &Error));
	EXPECT_EQ(Error, "property 'C': class /Script/Engine.StaticMeshActor is not a child of /Script/Engine.Pawn");
	EXPECT_FALSE(Write(A, "O", FPropertyValue::MakeObject(A), &Error));
	EXPECT_EQ(Error, "property 'O': " + A->GetPathName() + " is a /Game/BP_AllTypes.BP_AllTypes_C, not a /Script/Engine.StaticMesh");
	EXPECT_FALSE(Write(A, "V", FPropertyValue::MakeVector(FVector(std::nan(""), 0, 0)), &Error));
	EXPECT_EQ(ReadProperty(A, "I32").IntValue, 42);
	EXPECT_EQ(ReadProperty(A, "V").VectorValue, FVector(-1, 0, 1));

	// A property of another class is refused rather than misread.
	const FProperty* Foreign = Load("/Script/Engine.CharacterMovementComponent")->FindPropertyByName("MaxWalkSpeed");
	FPropertyValue Out;
	EXPECT_FALSE(A->GetPropertyValue(*Foreign, Out));
	EXPECT_FALSE(A->SetPropertyValue(*Foreign, FPropertyValue::MakeFloat(1), &Error));
	EXPECT_EQ(Error, "property 'MaxWalkSpeed' does not belong to class /Game/BP_AllTypes.BP_AllTypes_C");
}

TEST(SimObjectModel, PathNamesOutersAndWeakHandles)
{
	auto Host = MakeArenaHost();
	UWorld* World = GEditor->GetEditorWorld();
	ASSERT_TRUE(World);
	EXPECT_EQ(World->GetPathName(), "/Game/Maps/Arena.Arena");
	AActor* Crate = FindActor(World, "Crate_1");
	ASSERT_TRUE(Crate);
	EXPECT_EQ(Crate->GetPathName(), "/Game/Maps/Arena.Arena:PersistentLevel.Crate_1");
	EXPECT_EQ(Crate->GetOuter()->GetName(), "PersistentLevel");
	EXPECT_EQ(Crate->GetOuter()->GetOuter(), World);
	EXPECT_EQ(Crate->GetOutermost()->GetName(), "/Game/Maps/Arena");
	UActorComponent* Mesh = Crate->GetComponents().front();
	EXPECT_EQ(Mesh->GetPathName(), "/Game/Maps/Arena.Arena:PersistentLevel.Crate_1.StaticMeshComponent0");
	EXPECT_EQ(Mesh->GetOwner(), Crate);

	FWeakObjectPtr WeakCrate(Crate);
	TWeakObjectPtr<UActorComponent> WeakMesh(Mesh);
	FWeakObjectPtr Never;
	EXPECT_TRUE(WeakCrate.IsValid());
	EXPECT_TRUE(Never.IsExplicitlyNull());
	EXPECT_FALSE(Never.IsStale());

	EXPECT_TRUE(World->DestroyActor(Crate));
	// Pending kill at once: handles answer null, the world no longer lists it, the pointer is still readable.
	EXPECT_EQ(WeakCrate.Get(), nullptr);
	EXPECT_TRUE(WeakCrate.IsStale());
	EXPECT_EQ(WeakMesh.Get(), nullptr);
	EXPECT_TRUE(Crate->IsPendingKill());
	EXPECT_FALSE(IsValid(Crate));
	EXPECT_EQ(FindActor(World, "Crate_1"), nullptr);
	EXPECT_FALSE(World->DestroyActor(Crate));
	EXPECT_EQ(FWeakObjectPtr(Crate).Get(), nullptr);
	Host->StepFrame();
	EXPECT_TRUE(WeakCrate.IsStale());

	// The WorldSettings actor belongs to the level and cannot be destroyed.
	EXPECT_FALSE(World->DestroyActor(World->GetWorldSettings()));

	// Names are unique per level; a taken name fails the spawn.
	std::string Error;
	FActorSpawnParameters Named;
	Named.Name = "Ball";
	EXPECT_FALSE(World->SpawnActor(Load("/Script/Engine.TargetPoint"), Named, &Error));
	EXPECT_EQ(Error, "SpawnActor: an actor named 'Ball' already exists in /Game/Maps/Arena.Arena");
	EXPECT_FALSE(World->SpawnActor(Load("/Script/Engine.Light"), FActorSpawnParameters(), &Error));
	EXPECT_EQ(Error, "SpawnActor: /Script/Engine.Light is abstract");
	EXPECT_FALSE(World->SpawnActor(Load("/Script/Engine.StaticMeshComponent"), FActorSpawnParameters(), &Error));
	EXPECT_EQ(Error, "SpawnActor: /Script/Engine.StaticMeshComponent is not an actor class");
	AActor* T0 = World->SpawnActor(Load("/Script/Engine.TargetPoint"), FActorSpawnParameters(), &Error);
	AActor* T1 = World->SpawnActor(Load("/Script/Engine.TargetPoint"), FActorSpawnParameters(), &Error);
	ASSERT_TRUE(T0 && T1);
	EXPECT_EQ(T0->GetName(), "TargetPoint_0");
	EXPECT_EQ(T1->GetName(), "TargetPoint_1");
}

TEST(SimObjectModel, TheRootComponentsRelativeTransformIsTheActors)
{
	auto Host = MakeArenaHost();
	AActor* Crate = FindActor(GEditor->GetEditorWorld(), "Crate_1");
	ASSERT_TRUE(Crate);
	UActorComponent* Root = Crate->GetRootComponent();
	ASSERT_TRUE(Root);
	EXPECT_EQ(ReadProperty(Crate, "RootComponent").ObjectValue.Get(), Root);
	const FVector Start = Crate->GetActorLocation();
	EXPECT_EQ(ReadProperty(Root, "RelativeLocation").VectorValue, Start);

	// Writing it moves the actor, and a moved actor reads back through its root.
	ASSERT_TRUE(Write(Root, "RelativeLocation", FPropertyValue::MakeVector(FVector(10.0, 20.0, 30.0))));
	EXPECT_EQ(Crate->GetActorLocation(), FVector(10.0, 20.0, 30.0));
	Crate->SetActorRotation(FRotator(0.0, 45.0, 0.0));
	EXPECT_EQ(ReadProperty(Root, "RelativeRotation").RotatorValue, FRotator(0.0, 45.0, 0.0));
	std::string Error;
	EXPECT_FALSE(Write(Root, "RelativeScale3D", FPropertyValue::MakeString(EPropertyType::String, "big"), &Error));
	EXPECT_EQ(Crate->GetActorScale3D(), ReadProperty(Root, "RelativeScale3D").VectorValue);
}

TEST(SimObjectModel, ANonRootComponentKeepsItsOwnOffset)
{
	auto Host = MakeArenaHost();
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	Host->StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 100);
	APawn* Hero = nullptr;
	for (AActor* A : GEditor->GetPlayWorld()->GetActors())
	{
		if (!Hero && A->GetClass()->GetName() == "BP_Hero_C") Hero = Cast<APawn>(A);
	}
	ASSERT_TRUE(Hero);
	for (UActorComponent* C : Hero->GetComponents())
	{
		if (C->GetName() != "CharacterMesh0") continue;
		EXPECT_EQ(ReadProperty(C, "RelativeLocation").VectorValue, FVector(0.0, 0.0, -90.0));
	}
	EXPECT_EQ(ReadProperty(Hero->GetRootComponent(), "RelativeLocation").VectorValue, Hero->GetActorLocation());
}
