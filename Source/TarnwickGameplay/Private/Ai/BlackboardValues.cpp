#include "Ai/BlackboardValues.h"

#include "BlackboardComponent.h"

namespace Tarnwick::Gameplay
{
FJson DescribeBlackboardKey(const UBlackboardComponent& BB, int32_t KeyID)
{
	const EBlackboardKeyType Type = BB.GetKeyType(KeyID);
	FJson Entry = FJson::object();
	Entry["name"] = BB.GetKeyName(KeyID);
	Entry["type"] = LexToString(Type);
	switch (Type)
	{
	case EBlackboardKeyType::Float: Entry["value"] = static_cast<double>(BB.GetValueAsFloat(KeyID)); break;
	case EBlackboardKeyType::Int: Entry["value"] = BB.GetValueAsInt(KeyID); break;
	case EBlackboardKeyType::Enum:
	{
		const uint8 Value = BB.GetValueAsEnum(KeyID);
		Entry["value"] = Value;
		const std::vector<std::string> Names = BB.GetEnumValueNames(KeyID);
		if (Value < Names.size()) Entry["value_name"] = Names[Value];
		break;
	}
	case EBlackboardKeyType::Bool: Entry["value"] = BB.GetValueAsBool(KeyID); break;
	case EBlackboardKeyType::String: Entry["value"] = BB.GetValueAsString(KeyID); break;
	case EBlackboardKeyType::Name: Entry["value"] = BB.GetValueAsName(KeyID); break;
	case EBlackboardKeyType::Vector: Entry["value"] = VectorToString(BB.GetValueAsVector(KeyID)); break;
	case EBlackboardKeyType::Rotator: Entry["value"] = RotatorToString(BB.GetValueAsRotator(KeyID)); break;
	case EBlackboardKeyType::Object:
	{
		const UObject* Object = BB.GetValueAsObject(KeyID);
		Entry["value"] = Object ? Object->GetName() : std::string("None");
		Entry["value_path"] = Object ? Object->GetPathName() : std::string("None");
		break;
	}
	}
	return Entry;
}

FJson DescribeBlackboard(const UBlackboardComponent& BB)
{
	FJson Keys = FJson::array();
	for (int32_t I = 0; I < BB.GetNumKeys(); ++I) Keys.push_back(DescribeBlackboardKey(BB, I));
	return Keys;
}
}
