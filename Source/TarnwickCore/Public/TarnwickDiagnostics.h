// Parameter validation and per-action diagnostics shared by every action handler.
#pragma once
#include "TarnwickActionResult.h"

#include <functional>
#include <string>
#include <vector>

enum class EDebugLevel
{
	Off,
	On,
	Verbose,
};

namespace Tarnwick::Diagnostics
{
/** True with the value when Key holds a non-empty string; otherwise false with a -32602 error naming Key. */
bool RequireString(const FJsonPtr& Params, const std::string& Key, std::string& OutValue, FTarnwickActionResult& OutError);
/** As RequireString, and false when the value is not one of Allowed. */
bool RequireOneOf(const FJsonPtr& Params, const std::string& Key, const std::vector<std::string>& Allowed,
	std::string& OutValue, FTarnwickActionResult& OutError);
/** An error whose message is Message exactly; Field (and Hint when non-empty) go into the error data. */
FTarnwickActionResult MakeValidationError(const std::string& Field, const std::string& Message, const std::string& Hint,
	int32 Code = Tarnwick::ErrorCodes::InvalidParams);
/** Reads the optional "debug" parameter: true or "true" → On, "verbose" → Verbose, anything else → Off. */
EDebugLevel ReadDebugLevel(const FJsonPtr& Params);

/** Bound by the editor module: asked after each dispatch to attach extra diagnostics to the result object. */
using FAttachDispatchDiagnostics = std::function<void(const std::string& Namespace, const std::string& Action,
	double DispatchStartSeconds, FJson& Result)>;
extern FAttachDispatchDiagnostics GAttachDispatchDiagnostics;
}

namespace Tarnwick
{
/** The standard error for an action that needs a running PIE session. */
FTarnwickActionResult MakePIERequiredError();
/** Reads the reserved session id parameter; empty when absent or not a string. */
std::string GetCallerSessionId(const FJsonPtr& Params);
inline constexpr const char* SessionIdParam = "_tarnwick_session_id";
}

/** Builds the "_debug" block of actions that accept `debug`; attaches nothing when the level is Off. */
class FActionDebugBuilder
{
public:
	explicit FActionDebugBuilder(EDebugLevel InLevel);

	FActionDebugBuilder& Action(const std::string& Namespace, const std::string& ActionName);
	FActionDebugBuilder& WorldContext(const std::string& WorldName, const std::string& WorldType);
	FActionDebugBuilder& TimingsMs(const std::string& Key, double Milliseconds);
	FActionDebugBuilder& Note(const std::string& Text);
	FActionDebugBuilder& Warning(const std::string& Text);
	FActionDebugBuilder& Counter(const std::string& Key, int64 Value);
	FActionDebugBuilder& ResolvedPath(const std::string& Key, const std::string& Path);
	void AttachTo(FJson& Result, const std::string& FieldName = "_debug") const;

	bool IsEnabled() const { return Level != EDebugLevel::Off; }
	bool IsVerbose() const { return Level == EDebugLevel::Verbose; }

private:
	EDebugLevel Level;
	FJson Block = FJson::object();
};
