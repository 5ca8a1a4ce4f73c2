#include "Sampling/SampleSpec.h"

#include "Printf.h"
#include "Sampling/SampleValue.h"

#include <algorithm>

namespace Tarnwick::Sampling
{
namespace
{
constexpr const char* ValidFields = "name, source, root, path, attribute, key, interval, required, retain_json";

bool IsGiven(const FJson& Entry, const char* Key) { return Entry.contains(Key) && !Entry[Key].is_null(); }

/** Reads an optional string field; false with the refusal when it is not a string. */
bool ReadString(const FJson& Entry, int32 Index, const char* Key, std::string& Out, std::string& OutRefusal)
{
	if (!IsGiven(Entry, Key)) return true;
	if (!Entry[Key].is_string())
	{
		OutRefusal = Tarnwick::Printf("sample_spec[%d]: '%s' must be a string", Index, Key);
		return false;
	}
	Out = Entry[Key].get<std::string>();
	return true;
}

bool ReadBool(const FJson& Entry, int32 Index, const char* Key, bool& Out, std::string& OutRefusal)
{
	if (!IsGiven(Entry, Key)) return true;
	if (!Entry[Key].is_boolean())
	{
		OutRefusal = Tarnwick::Printf("sample_spec[%d]: '%s' must be true or false", Index, Key);
		return false;
	}
	Out = Entry[Key].get<bool>();
	return true;
}

std::string AfterLastDot(const std::string& Text)
{
	const size_t Dot = Text.rfind('.');
	return Dot == std::string::npos ? Text : Text.substr(Dot + 1);
}

/** What a spec needs and refuses for its source, so that no field is silently ignored. */
bool CheckSourceFields(const FSampleSpec& Spec, int32 Index, std::string& OutRefusal)
{
	const char* Source = SourceName(Spec.Source);
	const char* Inferred = Spec.bSourceInferred ? " (inferred)" : "";
	auto Unused = [&](const char* Field) {
		OutRefusal = Tarnwick::Printf("sample_spec[%d]: source '%s'%s does not use '%s' — remove it, or sample it in an entry of its own",
			Index, Source, Inferred, Field);
		return false;
	};
	switch (Spec.Source)
	{
	case ESampleSource::Anim:
	case ESampleSource::Property:
		if (Spec.Path.empty())
		{
			OutRefusal = Tarnwick::Printf("sample_spec[%d]: source '%s' requires 'path' (a property name, or a dotted path such as "
										  "CharacterMovement.Velocity)",
				Index, Source);
			return false;
		}
		if (!Spec.Attribute.empty()) return Unused("attribute");
		if (!Spec.Key.empty()) return Unused("key");
		return true;
	case ESampleSource::Gas:
		if (Spec.Attribute.empty())
		{
			OutRefusal = Tarnwick::Printf("sample_spec[%d]: source 'gas' requires 'attribute' (an attribute name such as USet.Health)", Index);
			return false;
		}
		if (!Spec.Path.empty()) return Unused("path");
		if (!Spec.Key.empty()) return Unused("key");
		if (Spec.bRetainJson) return Unused("retain_json");
		return true;
	case ESampleSource::Blackboard:
		if (Spec.Key.empty())
		{
			OutRefusal = Tarnwick::Printf("sample_spec[%d]: source 'blackboard' requires 'key' (a blackboard key name)", Index);
			return false;
		}
		if (!Spec.Path.empty()) return Unused("path");
		if (!Spec.Attribute.empty()) return Unused("attribute");
		if (Spec.bRetainJson) return Unused("retain_json");
		return true;
	}
	return true;
}

bool ParseEntry(const FJson& Entry, int32 Index, FSampleSpec& Spec, std::string& OutRefusal)
{
	if (!Entry.is_object())
	{
		OutRefusal = Tarnwick::Printf("sample_spec[%d] is not an object", Index);
		return false;
	}
	static constexpr const char* Known[] = {"name", "source", "root", "path", "attribute", "key", "interval", "required", "retain_json"};
	for (const auto& [Field, Value] : Entry.items())
	{
		if (std::none_of(std::begin(Known), std::end(Known), [&Name = Field](const char* K) { return Name == K; }))
		{
			OutRefusal = Tarnwick::Printf("sample_spec[%d]: unknown field '%s' — valid fields: %s", Index, Field.c_str(), ValidFields);
			return false;
		}
	}
	if (!ReadString(Entry, Index, "path", Spec.Path, OutRefusal) || !ReadString(Entry, Index, "attribute", Spec.Attribute, OutRefusal) ||
		!ReadString(Entry, Index, "key", Spec.Key, OutRefusal) || !ReadString(Entry, Index, "root", Spec.Root, OutRefusal))
	{
		return false;
	}
	std::string Source;
	if (!ReadString(Entry, Index, "source", Source, OutRefusal)) return false;
	if (IsGiven(Entry, "source"))
	{
		static constexpr ESampleSource Sources[] = {ESampleSource::Anim, ESampleSource::Property, ESampleSource::Gas, ESampleSource::Blackboard};
		const auto* Found = std::find_if(std::begin(Sources), std::end(Sources), [&](ESampleSource S) { return EqualsIgnoreCase(Source, SourceName(S)); });
		if (Found == std::end(Sources))
		{
			OutRefusal = Tarnwick::Printf("sample_spec[%d]: unknown source '%s' — expected anim|property|gas|blackboard", Index, Source.c_str());
			return false;
		}
		Spec.Source = *Found;
	}
	else
	{
		Spec.bSourceInferred = true;
		if (!Spec.Attribute.empty()) Spec.Source = ESampleSource::Gas;
		else if (!Spec.Key.empty()) Spec.Source = ESampleSource::Blackboard;
		else if (IsGiven(Entry, "root")) Spec.Source = ESampleSource::Property;
		else if (Spec.Path.find('.') != std::string::npos) Spec.Source = ESampleSource::Property;
		else Spec.Source = ESampleSource::Anim;
	}
	if (!ReadString(Entry, Index, "name", Spec.Name, OutRefusal)) return false;
	if (Spec.Name.empty())
	{
		for (const std::string* From : {&Spec.Path, &Spec.Attribute, &Spec.Key})
		{
			if (!From->empty())
			{
				Spec.Name = AfterLastDot(*From);
				break;
			}
		}
		if (Spec.Name.empty())
		{
			OutRefusal = Tarnwick::Printf("sample_spec[%d] has no name and none could be derived (supply path/attribute/key)", Index);
			return false;
		}
	}
	if (IsGiven(Entry, "interval"))
	{
		if (!Entry["interval"].is_number())
		{
			OutRefusal = Tarnwick::Printf("sample_spec[%d]: 'interval' must be a number of seconds", Index);
			return false;
		}
		Spec.Interval = std::clamp(Entry["interval"].get<double>(), 0.0, 5.0);
	}
	if (!ReadBool(Entry, Index, "required", Spec.bRequired, OutRefusal) || !ReadBool(Entry, Index, "retain_json", Spec.bRetainJson, OutRefusal))
	{
		return false;
	}
	return CheckSourceFields(Spec, Index, OutRefusal);
}
}

const char* SourceName(ESampleSource Source)
{
	switch (Source)
	{
	case ESampleSource::Anim: return "anim";
	case ESampleSource::Property: return "property";
	case ESampleSource::Gas: return "gas";
	case ESampleSource::Blackboard: return "blackboard";
	}
	return "anim";
}

bool ParseSampleSpecs(const FJson& Params, std::vector<FSampleSpec>& OutSpecs, std::string& OutRefusal)
{
	OutSpecs.clear();
	const bool bHasSpecKey = Params.is_object() && IsGiven(Params, "sample_spec");
	const bool bHasVarsKey = Params.is_object() && IsGiven(Params, "sample_vars");
	if (bHasSpecKey)
	{
		const FJson& Entries = Params["sample_spec"];
		if (!Entries.is_array())
		{
			OutRefusal = "sample_spec must be an array of objects";
			return false;
		}
		for (size_t I = 0; I < Entries.size(); ++I)
		{
			FSampleSpec Spec;
			if (!ParseEntry(Entries[I], static_cast<int32>(I), Spec, OutRefusal)) return false;
			OutSpecs.push_back(std::move(Spec));
		}
	}

	std::vector<std::string> Legacy;
	if (bHasVarsKey)
	{
		const FJson& Vars = Params["sample_vars"];
		if (!Vars.is_array())
		{
			OutRefusal = "sample_vars must be an array of AnimInstance variable names";
			return false;
		}
		for (const FJson& Var : Vars)
		{
			if (!Var.is_string() || Var.get_ref<const std::string&>().empty()) continue;
			const std::string& Name = Var.get_ref<const std::string&>();
			if (std::none_of(Legacy.begin(), Legacy.end(), [&](const std::string& L) { return EqualsIgnoreCase(L, Name); }))
			{
				Legacy.push_back(Name);
			}
		}
	}
	if (Legacy.empty() && !bHasVarsKey && !bHasSpecKey) Legacy.assign(std::begin(DefaultAnimVars), std::end(DefaultAnimVars));

	const size_t NumDeclared = OutSpecs.size();
	for (const std::string& Name : Legacy)
	{
		for (size_t I = 0; I < NumDeclared; ++I)
		{
			if (EqualsIgnoreCase(OutSpecs[I].Name, Name))
			{
				OutRefusal = Tarnwick::Printf("'%s' is declared by both sample_vars and sample_spec — remove one (names must be unique)", Name.c_str());
				return false;
			}
		}
		FSampleSpec Spec;
		Spec.Name = Name;
		Spec.Path = Name;
		Spec.Source = ESampleSource::Anim;
		Spec.Root = "anim";
		Spec.bRequired = false;
		OutSpecs.push_back(std::move(Spec));
	}

	if (OutSpecs.size() > MaxSampleSpecs)
	{
		OutRefusal = Tarnwick::Printf("%d sample specs declared — a session samples at most %d variables", static_cast<int>(OutSpecs.size()),
			static_cast<int>(MaxSampleSpecs));
		return false;
	}
	for (size_t I = 1; I < OutSpecs.size(); ++I)
	{
		for (size_t J = 0; J < I; ++J)
		{
			if (EqualsIgnoreCase(OutSpecs[I].Name, OutSpecs[J].Name))
			{
				OutRefusal = Tarnwick::Printf("duplicate sample name '%s' — names key the report and must be unique", OutSpecs[I].Name.c_str());
				return false;
			}
		}
	}
	return true;
}
}
