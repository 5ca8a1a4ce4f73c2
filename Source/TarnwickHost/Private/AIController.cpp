#include "AIController.h"

const char* LexToString(EPathFollowingRequestResult::Type Result)
{
	switch (Result)
	{
	case EPathFollowingRequestResult::Failed: return "Failed";
	case EPathFollowingRequestResult::AlreadyAtGoal: return "AlreadyAtGoal";
	case EPathFollowingRequestResult::RequestSuccessful: return "RequestSuccessful";
	}
	return "Failed";
}

const char* LexToString(EPathFollowingStatus::Type Status)
{
	switch (Status)
	{
	case EPathFollowingStatus::Idle: return "Idle";
	case EPathFollowingStatus::Waiting: return "Waiting";
	case EPathFollowingStatus::Paused: return "Paused";
	case EPathFollowingStatus::Moving: return "Moving";
	}
	return "Idle";
}

const char* LexToString(EPathFollowingResult::Type Result)
{
	switch (Result)
	{
	case EPathFollowingResult::Success: return "Success";
	case EPathFollowingResult::Blocked: return "Blocked";
	case EPathFollowingResult::OffPath: return "OffPath";
	case EPathFollowingResult::Aborted: return "Aborted";
	case EPathFollowingResult::Invalid: return "Invalid";
	}
	return "Invalid";
}
