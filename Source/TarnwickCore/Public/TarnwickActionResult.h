// The value of every action call. Handlers never throw: every failure is one of these with a message and code.
#pragma once
#include "HostTypes.h"
#include "TarnwickJson.h"

#include <functional>
#include <string>

namespace Tarnwick::ErrorCodes
{
inline constexpr int32 InvalidParams = -32602;
inline constexpr int32 InternalError = -32603;
}

struct FTarnwickActionResult
{
	bool bSuccess = false;
	FJsonPtr Result;
	std::string ErrorMessage;
	int32 ErrorCode = 0;
	/** Optional machine-readable details of a failure. */
	FJsonPtr ErrorData;

	FTarnwickActionResult() = default;
	/** Success with a payload (a null payload becomes an empty object). */
	explicit FTarnwickActionResult(FJsonPtr InResult)
		: bSuccess(true), Result(InResult ? std::move(InResult) : MakeJsonObject()), ErrorCode(0) {}
	/** Error with message and code; no payload. */
	FTarnwickActionResult(std::string InMessage, int32 InCode)
		: bSuccess(false), ErrorMessage(std::move(InMessage)), ErrorCode(InCode) {}

	static FTarnwickActionResult Success(FJson Payload) { return FTarnwickActionResult(MakeJsonObject(std::move(Payload))); }
	static FTarnwickActionResult Error(std::string Message, int32 Code, FJsonPtr Data = nullptr)
	{
		FTarnwickActionResult R(std::move(Message), Code);
		R.ErrorData = std::move(Data);
		return R;
	}
};

/** An action handler. The params pointer may be null when the client sent none: treat it as an empty object. */
using FTarnwickActionHandler = std::function<FTarnwickActionResult(const FJsonPtr& Params)>;
