#include "TarnwickDiagnostics.h"

#include "Printf.h"

#include <algorithm>

namespace Tarnwick::Diagnostics
{
FAttachDispatchDiagnostics GAttachDispatchDiagnostics;

bool RequireString(const FJsonPtr& Params, const std::string& Key, std::string& OutValue, FTarnwickActionResult& OutError)
{
	const FJson* Value = nullptr;
	if (Params && Params->is_object())
	{
		if (auto It = Params->find(Key); It != Params->end())
		{
			Value = &*It;
		}
	}
	if (!Value || Value->is_null())
	{
		OutError = MakeValidationError(Key, Tarnwick::Printf("Missing required parameter '%s'", Key.c_str()), "");
		return false;
	}
	if (!Value->is_string() || Value->get_ref<const std::string&>().empty())
	{
		OutError = MakeValidationError(Key, Tarnwick::Printf("Parameter '%s' must be a non-empty string", Key.c_str()), "");
		return false;
	}
	OutValue = Value->get<std::string>();
	return true;
}

bool RequireOneOf(const FJsonPtr& Params, const std::string& Key, const std::vector<std::string>& Allowed,
	std::string& OutValue, FTarnwickActionResult& OutError)
{
	std::string Value;
	if (!RequireString(Params, Key, Value, OutError))
	{
		return false;
	}
	if (std::find(Allowed.begin(), Allowed.end(), Value) == Allowed.end())
	{
		std::string List;
		for (const std::string& A : Allowed)
		{
			List += List.empty() ? A : ", " + A;
		}
		OutError = MakeValidationError(Key,
			Tarnwick::Printf("Parameter '%s' must be one of: %s (got '%s')", Key.c_str(), List.c_str(), Value.c_str()), "");
		return false;
	}
	OutValue = std::move(Value);
	return true;
}

FTarnwickActionResult MakeValidationError(const std::string& Field, const std::string& Message, const std::string& Hint, int32 Code)
{
	FTarnwickActionResult Result(Message, Code);
	FJson Data = FJson::object();
	Data["field"] = Field;
	if (!Hint.empty())
	{
		Data["hint"] = Hint;
	}
	Result.ErrorData = MakeJsonObject(std::move(Data));
	return Result;
}

EDebugLevel ReadDebugLevel(const FJsonPtr& Params)
{
	if (!Params || !Params->is_object()) return EDebugLevel::Off;
	auto It = Params->find("debug");
	if (It == Params->end()) return EDebugLevel::Off;
	if (It->is_boolean()) return It->get<bool>() ? EDebugLevel::On : EDebugLevel::Off;
	if (It->is_string())
	{
		std::string Text = It->get<std::string>();
		std::transform(Text.begin(), Text.end(), Text.begin(), [](unsigned char C) { return static_cast<char>(std::tolower(C)); });
		if (Text == "verbose") return EDebugLevel::Verbose;
		if (Text == "true" || Text == "1") return EDebugLevel::On;
	}
	return EDebugLevel::Off;
}
}

namespace Tarnwick
{
FTarnwickActionResult MakePIERequiredError()
{
	return FTarnwickActionResult(
		"This action needs a running PIE session, and none is active. Start one with editor_start_pie (or editor_run_pie_smoke) and retry.",
		ErrorCodes::InternalError);
}

std::string GetCallerSessionId(const FJsonPtr& Params)
{
	if (!Params || !Params->is_object()) return std::string();
	auto It = Params->find(SessionIdParam);
	return (It != Params->end() && It->is_string()) ? It->get<std::string>() : std::string();
}
}

FActionDebugBuilder::FActionDebugBuilder(EDebugLevel InLevel)
	: Level(InLevel)
{
	if (IsEnabled())
	{
		Block["level"] = IsVerbose() ? "verbose" : "on";
	}
}

FActionDebugBuilder& FActionDebugBuilder::Action(const std::string& Namespace, const std::string& ActionName)
{
	if (IsEnabled()) Block["action"] = Namespace + "." + ActionName;
	return *this;
}

FActionDebugBuilder& FActionDebugBuilder::WorldContext(const std::string& WorldName, const std::string& WorldType)
{
	if (IsEnabled()) Block["world"] = FJson{{"name", WorldName}, {"type", WorldType}};
	return *this;
}

FActionDebugBuilder& FActionDebugBuilder::TimingsMs(const std::string& Key, double Milliseconds)
{
	if (IsEnabled()) Block["timings_ms"][Key] = Milliseconds;
	return *this;
}

FActionDebugBuilder& FActionDebugBuilder::Note(const std::string& Text)
{
	if (IsEnabled()) Block["notes"].push_back(Text);
	return *this;
}

FActionDebugBuilder& FActionDebugBuilder::Warning(const std::string& Text)
{
	if (IsEnabled()) Block["warnings"].push_back(Text);
	return *this;
}

FActionDebugBuilder& FActionDebugBuilder::Counter(const std::string& Key, int64 Value)
{
	if (IsEnabled()) Block["counters"][Key] = Value;
	return *this;
}

FActionDebugBuilder& FActionDebugBuilder::ResolvedPath(const std::string& Key, const std::string& Path)
{
	if (IsEnabled()) Block["resolved_paths"][Key] = Path;
	return *this;
}

void FActionDebugBuilder::AttachTo(FJson& Result, const std::string& FieldName) const
{
	if (!IsEnabled() || !Result.is_object()) return;
	Result[FieldName] = Block;
}
