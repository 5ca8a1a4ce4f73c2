// How a blackboard key is described to the agent: {name, type, value} with the engine's text forms for vectors
// and rotators, the value's name beside an enum's number, and value_path for objects ("None" when empty).
#pragma once
#include "TarnwickJson.h"

class UBlackboardComponent;

namespace Tarnwick::Gameplay
{
FJson DescribeBlackboardKey(const UBlackboardComponent& Blackboard, int32_t KeyID);
/** Every key in order. */
FJson DescribeBlackboard(const UBlackboardComponent& Blackboard);
}
