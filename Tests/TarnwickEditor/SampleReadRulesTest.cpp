// What a read makes of what it is given: reflected property values (enums as name plus integer, objects by
// path, anything else only as raw JSON on request) and the answers of the gas and ai namespaces, with every
// failure text sample_resolution shows.
#include "Sampling/DispatchedResponses.h"
#include "Sampling/PropertyConversion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace Tarnwick::Sampling;

namespace
{
FParsedRead Convert(const FPropertyValue& Value, bool bRetainJson = false, EPropertyType Type = EPropertyType::Bool)
{
	FProperty Property;
	Property.Name = "P";
	Property.Type = Value.Type == EPropertyType::Bool ? Type : Value.Type;
	Property.EnumEntries = {{"MOVE_None", 0}, {"MOVE_Walking", 1}};
	return ConvertPropertyValue(Property, Value, bRetainJson);
}

TEST(PropertyConversion, ScalarsEnumsAndReferences)
{
	EXPECT_EQ(Convert(FPropertyValue::MakeBool(true)).Value.Kind, ESampleKind::Bool);
	EXPECT_EQ(Convert(FPropertyValue::MakeInt64(7)).Value.Number, 7.0);
	EXPECT_EQ(Convert(FPropertyValue::MakeFloat(2.5f)).Value.Number, 2.5);
	const FParsedRead Enum = Convert(FPropertyValue::MakeEnum("MOVE_Walking", 1));
	EXPECT_EQ(Enum.Value.Kind, ESampleKind::String);
	EXPECT_EQ(Enum.Value.String, "MOVE_Walking");
	EXPECT_TRUE(Enum.Value.bHasEnumValue);
	EXPECT_EQ(Enum.Value.Number, 1.0);
	EXPECT_EQ(Convert(FPropertyValue::MakeEnum("", 1)).Value.String, "MOVE_Walking") << "named from the enum when the value has no name";
	EXPECT_EQ(Convert(FPropertyValue::MakeEnum("", 9)).Value.String, "9") << "the integer when the enum has no such entry";
	EXPECT_EQ(Convert(FPropertyValue::MakeString(EPropertyType::Name, "Hero")).Value.String, "Hero");
	const FParsedRead Rot = Convert(FPropertyValue::MakeRotator(FRotator(1, 2, 3)));
	EXPECT_EQ(Rot.Value.Kind, ESampleKind::Rotator);
	EXPECT_EQ(Rot.Value.Y, 2.0);
	EXPECT_EQ(Convert(FPropertyValue::MakeObject(nullptr)).Value.String, "None");
	EXPECT_EQ(Convert(FPropertyValue::MakeSoftPath(EPropertyType::SoftObject, "")).Value.String, "None");
	EXPECT_EQ(Convert(FPropertyValue::MakeSoftPath(EPropertyType::SoftObject, "/Game/A.A")).Value.Kind, ESampleKind::Object);
}

TEST(PropertyConversion, NonFiniteAndUnsupportedValuesFailTheRead)
{
	const FParsedRead Nan = Convert(FPropertyValue::MakeDouble(std::numeric_limits<double>::quiet_NaN()));
	EXPECT_FALSE(Nan.bOk);
	EXPECT_EQ(Nan.Failure, "value is not finite (NaN/Inf)");
	FPropertyValue Array;
	Array.Type = EPropertyType::Array;
	Array.Elements = {FPropertyValue::MakeInt32(1), FPropertyValue::MakeInt32(2)};
	const FParsedRead Refused = Convert(Array);
	EXPECT_FALSE(Refused.bOk);
	EXPECT_EQ(Refused.Failure,
		"unsupported property type ArrayProperty — set retain_json:true to capture it as raw JSON (it will not be comparable in expectations)");
	const FParsedRead Kept = Convert(Array, true);
	EXPECT_TRUE(Kept.bOk);
	EXPECT_EQ(Kept.Value.Kind, ESampleKind::Json);
	EXPECT_EQ(Kept.Value.Json, FJson::parse("[1, 2]"));
}

TEST(GasResponse, CurrentValueAndBase)
{
	const FParsedRead Read = ParseGasResponse(FJson::parse(R"({"current_value": 80, "base_value": 100})"));
	ASSERT_TRUE(Read.bOk);
	EXPECT_EQ(Read.Value.Number, 80.0);
	EXPECT_TRUE(Read.Value.bHasBase);
	EXPECT_EQ(Read.Value.Base, 100.0);
	EXPECT_FALSE(ParseGasResponse(FJson::parse(R"({"current_value": 80, "base_value": "n/a"})")).Value.bHasBase);
	EXPECT_EQ(ParseGasResponse(FJson::parse(R"({"current_value": "80"})")).Failure, "gas response had no numeric current_value");
	EXPECT_EQ(ParseGasResponse(FJson{{"current_value", std::numeric_limits<double>::infinity()}}).Failure, "value is not finite (NaN/Inf)");
	EXPECT_EQ(ParseGasResponse(FJson()).Failure, "gas response had no numeric current_value");
}

TEST(BlackboardResponse, EveryKeyTypeAndEveryFailure)
{
	const FJson Payload = FJson::parse(R"({"keys": [
		{"name": "Speed", "type": "float", "value": 3.5},
		{"name": "Ammo", "type": "int", "value": 7},
		{"name": "Phase", "type": "enum", "value": 2},
		{"name": "bAlerted", "type": "bool", "value": true},
		{"name": "Label", "type": "name", "value": "Patrol"},
		{"name": "Home", "type": "vector", "value": "X=1.000 Y=-2.500 Z=3.000"},
		{"name": "Facing", "type": "rotator", "value": "P=10.000 Y=20.000 R=30.000"},
		{"name": "Target", "type": "object", "value": "BP_Hero_C_0", "value_path": "/Game/Maps/UEDPIE_0_Arena.Arena:PersistentLevel.BP_Hero_C_0"},
		{"name": "Nobody", "type": "object"},
		{"name": "BadSpeed", "type": "float"},
		{"name": "BadFlag", "type": "bool", "value": 1},
		{"name": "BadHome", "type": "vector", "value": "X=1 Y=2"},
		{"name": "Klass", "type": "class", "value": "X"}
	]})");
	EXPECT_EQ(ParseBlackboardResponse(Payload, "Speed").Value.Number, 3.5);
	EXPECT_EQ(ParseBlackboardResponse(Payload, "Ammo").Value.Number, 7.0);
	EXPECT_EQ(ParseBlackboardResponse(Payload, "Phase").Value.Kind, ESampleKind::Number);
	EXPECT_TRUE(ParseBlackboardResponse(Payload, "bAlerted").Value.bBool);
	EXPECT_EQ(ParseBlackboardResponse(Payload, "Label").Value.String, "Patrol");
	const FSampleValue Home = ParseBlackboardResponse(Payload, "Home").Value;
	EXPECT_EQ(Home.Kind, ESampleKind::Vector);
	EXPECT_EQ(Home.Y, -2.5);
	const FSampleValue Facing = ParseBlackboardResponse(Payload, "Facing").Value;
	EXPECT_EQ(Facing.Kind, ESampleKind::Rotator);
	EXPECT_EQ(Facing.Z, 30.0);
	EXPECT_EQ(ParseBlackboardResponse(Payload, "Target").Value.String, "/Game/Maps/UEDPIE_0_Arena.Arena:PersistentLevel.BP_Hero_C_0");
	EXPECT_EQ(ParseBlackboardResponse(Payload, "Nobody").Value.String, "None");
	EXPECT_EQ(ParseBlackboardResponse(Payload, "BadSpeed").Failure, "missing numeric value");
	EXPECT_EQ(ParseBlackboardResponse(Payload, "BadFlag").Failure, "missing bool value");
	EXPECT_EQ(ParseBlackboardResponse(Payload, "BadHome").Failure, "could not parse the formatted vector/rotator string");
	EXPECT_EQ(ParseBlackboardResponse(Payload, "Klass").Failure, "unhandled blackboard key type 'class'");
	EXPECT_EQ(ParseBlackboardResponse(Payload, "speed").Failure, "blackboard key 'speed' not present on this root") << "key names are exact";
	EXPECT_EQ(ParseBlackboardResponse(FJson::object(), "Speed").Failure, "empty blackboard payload");
}

TEST(BlackboardResponse, VectorTextFormsOfTheEngine)
{
	double A = 0, B = 0, C = 0;
	EXPECT_TRUE(ParseVectorText("(X=1.5,Y=2,Z=-3e2)", false, A, B, C));
	EXPECT_EQ(C, -300.0);
	EXPECT_TRUE(ParseVectorText("x=1 y=2 z=3", false, A, B, C));
	EXPECT_TRUE(ParseVectorText("P=-10.0 Y=90.0 R=0.0", true, A, B, C));
	EXPECT_EQ(A, -10.0);
	EXPECT_EQ(B, 90.0);
	EXPECT_FALSE(ParseVectorText("P=1 Y=2 R=3", false, A, B, C)) << "a rotator's text is not a vector";
	EXPECT_FALSE(ParseVectorText("X=abc Y=1 Z=2", false, A, B, C));
}
}
