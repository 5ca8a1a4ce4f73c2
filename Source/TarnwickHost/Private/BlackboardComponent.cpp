#include "BlackboardComponent.h"

#include "Printf.h"

const char* LexToString(EBlackboardKeyType Type)
{
	switch (Type)
	{
	case EBlackboardKeyType::Float: return "float";
	case EBlackboardKeyType::Int: return "int";
	case EBlackboardKeyType::Enum: return "enum";
	case EBlackboardKeyType::Bool: return "bool";
	case EBlackboardKeyType::String: return "string";
	case EBlackboardKeyType::Name: return "name";
	case EBlackboardKeyType::Vector: return "vector";
	case EBlackboardKeyType::Rotator: return "rotator";
	case EBlackboardKeyType::Object: return "object";
	}
	return "float";
}

std::string VectorToString(const FVector& V)
{
	return Tarnwick::Printf("X=%3.3f Y=%3.3f Z=%3.3f", V.X, V.Y, V.Z);
}

std::string RotatorToString(const FRotator& R)
{
	return Tarnwick::Printf("P=%f Y=%f R=%f", R.Pitch, R.Yaw, R.Roll);
}
