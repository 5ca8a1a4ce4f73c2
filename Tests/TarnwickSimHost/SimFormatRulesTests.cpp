// The pure rules: type specs, JSON <-> property values, project descriptor, ini files and the shape checks of
// map and asset documents, each with the exact error text a user sees.
#include "SimProjectFormat.h"
#include "SimReflectionRules.h"
#include "UObjectGlobals.h"

#include <gtest/gtest.h>

using namespace Tarnwick::Sim;

namespace
{
FProperty Prop(const std::string& Spec)
{
	std::string Error;
	std::optional<FProperty> P = ParsePropertyType("P", Spec, &Error);
	EXPECT_TRUE(P) << Spec << ": " << Error;
	return P ? *P : FProperty();
}

std::string ConvertError(const std::string& Spec, const char* JsonText)
{
	std::string Error;
	const FProperty P = Prop(Spec);
	EXPECT_FALSE(PropertyValueFromJson(P, FSimJson::parse(JsonText), nullptr, nullptr, &Error)) << JsonText;
	return Error;
}
}

TEST(SimPropertyTypes, SpecsMapToEngineTypes)
{
	struct FCase
	{
		const char* Spec;
		EPropertyType Type;
		const char* CPP;
	};
	const FCase Cases[] = {
		{"bool", EPropertyType::Bool, "bool"},
		{"int32", EPropertyType::Int32, "int32"},
		{"int64", EPropertyType::Int64, "int64"},
		{"float", EPropertyType::Float, "float"},
		{"double", EPropertyType::Double, "double"},
		{"FString", EPropertyType::String, "FString"},
		{"FName", EPropertyType::Name, "FName"},
		{"FText", EPropertyType::Text, "FText"},
		{"FVector", EPropertyType::Vector, "FVector"},
		{"FRotator", EPropertyType::Rotator, "FRotator"},
		{"enum:EMovementMode", EPropertyType::Enum, "EMovementMode"},
		{"struct:FColor", EPropertyType::Struct, "FColor"},
		{"object:/Script/Engine.Actor", EPropertyType::Object, "TObjectPtr<UActor>"},
		{"class:/Script/Engine.Pawn", EPropertyType::Class, "TSubclassOf<UPawn>"},
		{"softobject:/Script/Engine.StaticMesh", EPropertyType::SoftObject, "TSoftObjectPtr<UStaticMesh>"},
		{"softclass:/Script/Engine.Actor", EPropertyType::SoftClass, "TSoftClassPtr<UActor>"},
		{"array:FName", EPropertyType::Array, "TArray<FName>"},
	};
	for (const FCase& C : Cases)
	{
		const FProperty P = Prop(C.Spec);
		EXPECT_EQ(P.Type, C.Type) << C.Spec;
		EXPECT_EQ(P.CPPType, C.CPP) << C.Spec;
	}
	EXPECT_EQ(Prop("array:struct:FColor").Inner->Fields.size(), 4u);
}

TEST(SimPropertyTypes, BadSpecsAreRefusedWithReasons)
{
	const std::pair<const char*, const char*> Cases[] = {
		{"float32", "unknown type 'float32'"},
		{"enum:ENope", "unknown enum 'ENope'"},
		{"struct:FNope", "unknown struct 'FNope'"},
		{"array:array:int32", "arrays of arrays are not supported"},
		{"object:", "type 'object:' lacks its argument after ':'"},
		{"object:Actor", "type 'object:Actor' needs a class path like /Script/Engine.Actor"},
	};
	for (const auto& [Spec, Expected] : Cases)
	{
		std::string Error;
		EXPECT_FALSE(ParsePropertyType("P", Spec, &Error)) << Spec;
		EXPECT_EQ(Error, Expected) << Spec;
	}
}

TEST(SimPropertyJson, EveryTypeRoundTrips)
{
	const std::pair<const char*, const char*> Cases[] = {
		{"bool", "true"},
		{"int32", "-7"},
		{"int64", "9007199254740993"},
		{"float", "0.5"},
		{"double", "0.1"},
		{"enum:EMovementMode", "\"MOVE_Falling\""},
		{"FString", "\"hello\""},
		{"FName", "\"Obstacle\""},
		{"FText", "\"Hi there\""},
		{"FVector", "[1.0,2.0,3.0]"},
		{"FRotator", "[10.0,20.0,30.0]"},
		{"softobject:/Script/Engine.StaticMesh", "\"/Engine/BasicShapes/Cube.Cube\""},
		{"softclass:/Script/Engine.Actor", "\"/Game/BP.BP_C\""},
		{"struct:FColor", "{\"B\":1,\"G\":2,\"R\":3,\"A\":4}"},
		{"array:int32", "[1,2,3]"},
		{"object:/Script/Engine.Actor", "null"},
	};
	for (const auto& [Spec, Text] : Cases)
	{
		std::string Error;
		const FProperty P = Prop(Spec);
		std::optional<FPropertyValue> V = PropertyValueFromJson(P, FSimJson::parse(Text), nullptr, nullptr, &Error);
		ASSERT_TRUE(V) << Spec << ": " << Error;
		EXPECT_EQ(PropertyValueToJson(*V).dump(), FSimJson::parse(Text).dump()) << Spec;
	}
}

TEST(SimPropertyJson, AlternateFormsAndPartialStructs)
{
	std::string Error;
	auto V = PropertyValueFromJson(Prop("FVector"), FSimJson::parse(R"({"Z": 5})"), nullptr, nullptr, &Error);
	ASSERT_TRUE(V);
	EXPECT_EQ(V->VectorValue, FVector(0, 0, 5));
	V = PropertyValueFromJson(Prop("enum:EMovementMode"), FSimJson::parse("3"), nullptr, nullptr, &Error);
	ASSERT_TRUE(V);
	EXPECT_EQ(V->StringValue, "MOVE_Falling");
	EXPECT_EQ(V->IntValue, 3);

	// A partial struct keeps the fields of the value it is laid over.
	const FProperty Color = Prop("struct:FColor");
	FPropertyValue Base = MakeZeroValue(Color);
	Base.Fields[3].Value.IntValue = 255;
	V = PropertyValueFromJson(Color, FSimJson::parse(R"({"R": 10})"), nullptr, &Base, &Error);
	ASSERT_TRUE(V);
	EXPECT_EQ(V->FindField("R")->IntValue, 10);
	EXPECT_EQ(V->FindField("A")->IntValue, 255);
}

TEST(SimPropertyJson, WrongValuesNameTheProblem)
{
	EXPECT_EQ(ConvertError("bool", "1"), "property 'P' (bool) expects true or false, got number");
	EXPECT_EQ(ConvertError("int32", "1.5"), "property 'P' (int32) expects an integer, got number");
	EXPECT_EQ(ConvertError("int32", "4294967296"), "property 'P' (int32): 4294967296 is out of range");
	EXPECT_EQ(ConvertError("enum:EMovementMode", "\"MOVE_Jumping\""), "property 'P': 'MOVE_Jumping' is not a value of EMovementMode");
	EXPECT_EQ(ConvertError("enum:EMovementMode", "99"), "property 'P': 99 is not a value of EMovementMode");
	EXPECT_EQ(ConvertError("FVector", "[1,2]"), "property 'P' (FVector) expects [x, y, z], got array");
	EXPECT_EQ(ConvertError("FRotator", R"({"Pitch": 1, "Q": 2})"), "property 'P' (FRotator): unexpected member 'Q'");
	EXPECT_EQ(ConvertError("struct:FColor", R"({"Alpha": 1})"), "property 'P': FColor has no field 'Alpha'");
	EXPECT_EQ(ConvertError("array:int32", R"([1, "x"])"), "property 'P' (int32) expects an integer, got string");
	EXPECT_EQ(ConvertError("object:/Script/Engine.Actor", "\"/Game/Nope.Nope\""), "property 'P': cannot resolve '/Game/Nope.Nope'");
}

TEST(SimPropertyJson, CoercionWidensNumbersAndMatchesEnums)
{
	std::string Error;
	auto V = CoercePropertyValue(Prop("double"), FPropertyValue::MakeInt32(3), &Error);
	ASSERT_TRUE(V);
	EXPECT_EQ(V->Type, EPropertyType::Double);
	EXPECT_EQ(V->DoubleValue, 3.0);
	V = CoercePropertyValue(Prop("float"), FPropertyValue::MakeDouble(0.1), &Error);
	ASSERT_TRUE(V);
	EXPECT_EQ(V->DoubleValue, static_cast<double>(0.1f));
	EXPECT_FALSE(CoercePropertyValue(Prop("int32"), FPropertyValue::MakeFloat(1.0f), &Error));
	EXPECT_EQ(Error, "property 'P' is int32; a FloatProperty value does not fit");
	V = CoercePropertyValue(Prop("enum:EMovementMode"), FPropertyValue::MakeInt32(5), &Error);
	ASSERT_TRUE(V);
	EXPECT_EQ(V->StringValue, "MOVE_Flying");
	EXPECT_FALSE(CoercePropertyValue(Prop("enum:EMovementMode"), FPropertyValue::MakeString(EPropertyType::Name, "Nope"), &Error));
	EXPECT_EQ(Error, "property 'P': no value Nope of EMovementMode");
	EXPECT_FALSE(CoercePropertyValue(Prop("bool"), FPropertyValue::MakeString(EPropertyType::String, "true"), &Error));
}

TEST(SimProjectDescriptor, ReadsTheEngineFieldsAndRefusesBadOnes)
{
	std::string Error;
	auto D = ParseProjectDescriptor("Arena",
		R"({"FileVersion":3,"EngineAssociation":"5.4","Modules":[{"Name":"Arena"}],"Plugins":[{"Name":"A","Enabled":false},{"Name":"B"}]})",
		"Arena.uproject", &Error);
	ASSERT_TRUE(D) << Error;
	EXPECT_EQ(D->Modules, std::vector<std::string>{"Arena"});
	ASSERT_EQ(D->Plugins.size(), 2u);
	EXPECT_FALSE(D->Plugins[0].second);
	EXPECT_TRUE(D->Plugins[1].second);

	const std::pair<const char*, const char*> Bad[] = {
		{"{", "Arena.uproject: not valid JSON (parse error at line 1, column 2: syntax error while parsing object key - unexpected end of input; expected string literal)"},
		{"[]", "Arena.uproject: the descriptor must be a JSON object"},
		{"{}", "Arena.uproject: \"FileVersion\" is missing or not an integer"},
		{R"({"FileVersion":2})", "Arena.uproject: unsupported \"FileVersion\" 2 (expected 3)"},
		{R"({"FileVersion":3,"Modules":[{"Type":"Runtime"}]})", "Arena.uproject: Modules[0]: \"Name\" is missing"},
	};
	for (const auto& [Text, Expected] : Bad)
	{
		EXPECT_FALSE(ParseProjectDescriptor("Arena", Text, "Arena.uproject", &Error)) << Text;
		EXPECT_EQ(Error, Expected);
	}
}

TEST(SimIni, SectionsArraysRemovalsAndComments)
{
	const FIniFile Ini = ParseIni("; comment\n[A]\nKey=1\nKey=2\n+List=x\n+List=y\n-List=x\n# other\n[B]\nQuoted=\"a b\"\r\n[A]\nLate=3\n");
	EXPECT_EQ(Ini.GetString("A", "Key"), "2");
	EXPECT_EQ(Ini.GetArray("A", "List"), std::vector<std::string>{"y"});
	EXPECT_EQ(Ini.GetString("B", "Quoted"), "a b");
	EXPECT_EQ(Ini.GetString("A", "Late"), "3");
	EXPECT_FALSE(Ini.GetString("C", "Key"));
}

TEST(SimPackageMount, LongNamesAndFiles)
{
	EXPECT_EQ(FPackageMount::GameRelativeBase("/Game/Maps/Arena"), "Content/Maps/Arena");
	EXPECT_FALSE(FPackageMount::GameRelativeBase("/Engine/BasicShapes/Cube"));
	EXPECT_FALSE(FPackageMount::GameRelativeBase("/Game/"));
	EXPECT_EQ(FPackageMount::GamePackageFromRelativeFile("Content/Blueprints/BP_Hero.uasset"), "/Game/Blueprints/BP_Hero");
	EXPECT_FALSE(FPackageMount::GamePackageFromRelativeFile("Content/Readme.txt"));
	EXPECT_FALSE(FPackageMount::GamePackageFromRelativeFile("Config/DefaultEngine.ini"));
	const std::pair<const char*, bool> Names[] = {{"/Game/Maps/Arena", true}, {"/Game", false}, {"Game/Maps", false},
		{"/Game/Maps/", false}, {"/Game//Arena", false}, {"/Game/Maps/Arena.Arena", false}, {"/Game/My Map", false}};
	for (const auto& [Name, bValid] : Names) EXPECT_EQ(FPackageName::IsValidLongPackageName(Name), bValid) << Name;
}

TEST(SimMapDocument, ShapeErrorsNameTheEntry)
{
	const std::pair<const char*, const char*> Bad[] = {
		{R"({"Actors":[]})", "M.umap: \"Type\" is missing"},
		{R"({"Type":"Level","Actors":[]})", "M.umap: \"Type\" of a .umap must be \"World\", not \"Level\""},
		{R"({"Type":"World"})", "M.umap: \"Actors\" is missing"},
		{R"({"Type":"World","Actors":[],"Extra":1})", "M.umap: unknown key \"Extra\""},
		{R"({"Type":"World","Actors":[{"Class":"/Script/Engine.Actor"}]})", "M.umap: Actors[0]: \"Name\" is missing"},
		{R"({"Type":"World","Actors":[{"Name":"A.B","Class":"X"}]})", "M.umap: Actors[0]: \"A.B\" is not a valid object name"},
		{R"({"Type":"World","Actors":[{"Name":"A","Class":"X","Location":[1,2]}]})",
			"M.umap: Actors[0] (A): \"Location\" must be an array of 3 numbers"},
		{R"({"Type":"World","Actors":[{"Name":"A","Class":"X"},{"Name":"A","Class":"X"}]})",
			"M.umap: Actors[1] (A): an earlier actor has the same name"},
		{R"({"Type":"World","Actors":[{"Name":"A","Class":"X","Components":{"C":1}}]})",
			"M.umap: Actors[0] (A): \"Components\".\"C\" must be an object of property values"},
		{R"({"Type":"World","StreamingLevels":[{"Package":"/Game/S","LoadFrames":-1}],"Actors":[]})",
			"M.umap: StreamingLevels[0]: \"LoadFrames\" must be an integer from 0 to 1000000"},
	};
	for (const auto& [Text, Expected] : Bad)
	{
		std::string Error;
		EXPECT_FALSE(ParseMapDocument(Text, "M.umap", &Error)) << Text;
		EXPECT_EQ(Error, Expected);
	}
	std::string Error;
	auto Doc = ParseMapDocument(R"({"Type":"World","Actors":[{"Name":"A","Class":"X","Scale":[2,2,2]}]})", "M.umap", &Error);
	ASSERT_TRUE(Doc) << Error;
	EXPECT_EQ(Doc->Actors[0].Label, "A");
	EXPECT_EQ(Doc->Actors[0].Scale, FVector(2, 2, 2));
}

TEST(SimAssetDocument, BlueprintShapeErrors)
{
	const std::pair<const char*, const char*> Bad[] = {
		{R"({"Type":"Texture"})", "B.uasset: unknown asset \"Type\" \"Texture\" (expected Blueprint, AnimBlueprint, StaticMesh, SkeletalMesh, BlackboardData or DataAsset)"},
		{R"({"Type":"Blueprint"})", "B.uasset: \"ParentClass\" is missing"},
		{R"({"Type":"Blueprint","ParentClass":"/Script/Engine.Actor","Status":"Broken"})",
			"B.uasset: unknown \"Status\" \"Broken\" (expected UpToDate, UpToDateWithWarnings, Error or Dirty)"},
		{R"({"Type":"Blueprint","ParentClass":"/Script/Engine.Actor","Variables":[{"Name":"X"}]})", "B.uasset: Variables[0]: \"Type\" is missing"},
		{R"({"Type":"Blueprint","ParentClass":"/Script/Engine.Actor","DisplayCompilePIEWarning":1})",
			"B.uasset: \"DisplayCompilePIEWarning\" must be true or false"},
		{R"({"Type":"StaticMesh","ParentClass":"/Script/Engine.Actor"})", "B.uasset: unknown key \"ParentClass\""},
	};
	for (const auto& [Text, Expected] : Bad)
	{
		std::string Error;
		EXPECT_FALSE(ParseAssetDocument(Text, "B.uasset", &Error)) << Text;
		EXPECT_EQ(Error, Expected);
	}
}

TEST(SimDocuments, NumbersADoubleCannotHoldAndDeepNestingAreReportedNotThrown)
{
	const std::string Deep = std::string(300, '[') + std::string(300, ']');
	struct FCase
	{
		std::string Text;
		const char* Expected;
	};
	const FCase Cases[] = {
		{R"({"FileVersion": 1e400})", "not valid JSON (number overflow parsing '1e400')"},
		{R"({"Type": "World", "Actors": [{"Location": [-1e999, 0, 0]}]})", "not valid JSON (number overflow parsing '-1e999')"},
		{R"({"x": )" + Deep + "}", "not valid JSON (arrays and objects nest deeper than 256 levels)"},
	};
	for (const FCase& Case : Cases)
	{
		std::string Error;
		EXPECT_FALSE(ParseProjectDescriptor("Arena", Case.Text, "Arena.uproject", &Error));
		EXPECT_EQ(Error, std::string("Arena.uproject: ") + Case.Expected);
		EXPECT_FALSE(ParseMapDocument(Case.Text, "M.umap", &Error));
		EXPECT_EQ(Error, std::string("M.umap: ") + Case.Expected);
		EXPECT_FALSE(ParseAssetDocument(Case.Text, "B.uasset", &Error));
		EXPECT_EQ(Error, std::string("B.uasset: ") + Case.Expected);
	}
	// Brackets inside strings are text, not nesting.
	std::string Error;
	EXPECT_TRUE(ParseProjectDescriptor("Arena", R"({"FileVersion": 3, "Description": ")" + Deep + R"("})", "Arena.uproject", &Error)) << Error;
}
