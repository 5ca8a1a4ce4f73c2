#include "SimAttributeRules.h"

#include "Printf.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace Tarnwick::Sim
{
namespace
{
bool ValidName(const std::string& Name)
{
	if (Name.empty()) return false;
	for (char C : Name)
	{
		if (!std::isalnum(static_cast<unsigned char>(C)) && C != '_') return false;
	}
	return true;
}

/** A bound: a number, or the name of an attribute of the same set. */
bool ReadBound(const FSimJson& Json, std::optional<double>& OutValue, std::string& OutAttribute)
{
	if (Json.is_number() && std::isfinite(Json.get<double>()))
	{
		OutValue = Json.get<double>();
		return true;
	}
	if (Json.is_string() && ValidName(Json.get<std::string>()))
	{
		OutAttribute = Json.get<std::string>();
		return true;
	}
	return false;
}
}

const char* LexToString(ESimEffectOp Op)
{
	switch (Op)
	{
	case ESimEffectOp::Add: return "Add";
	case ESimEffectOp::Multiply: return "Multiply";
	case ESimEffectOp::Override: return "Override";
	}
	return "Add";
}

double ApplyEffectOp(ESimEffectOp Op, double Value, double Magnitude)
{
	switch (Op)
	{
	case ESimEffectOp::Add: return Value + Magnitude;
	case ESimEffectOp::Multiply: return Value * Magnitude;
	case ESimEffectOp::Override: return Magnitude;
	}
	return Value;
}

std::optional<std::vector<FSimAttributeSetDef>> ParseAttributeSets(const FSimJson& Json, std::string* OutError)
{
	auto Fail = [&](std::string Why) -> std::optional<std::vector<FSimAttributeSetDef>> {
		if (OutError) *OutError = std::move(Why);
		return std::nullopt;
	};
	if (!Json.is_object()) return Fail("must be an object of attribute sets, such as {\"USet\": {\"Health\": 100}}");
	std::vector<FSimAttributeSetDef> Out;
	for (auto SetIt = Json.begin(); SetIt != Json.end(); ++SetIt)
	{
		if (!ValidName(SetIt.key())) return Fail(Tarnwick::Printf("\"%s\" is not a valid attribute set name", SetIt.key().c_str()));
		if (!SetIt.value().is_object() || SetIt.value().empty())
		{
			return Fail(Tarnwick::Printf("%s must be an object of attributes, such as {\"Health\": 100}", SetIt.key().c_str()));
		}
		FSimAttributeSetDef Set;
		Set.Name = SetIt.key();
		for (auto It = SetIt.value().begin(); It != SetIt.value().end(); ++It)
		{
			const std::string Where = SetIt.key() + "." + It.key() + ": ";
			if (!ValidName(It.key())) return Fail(Tarnwick::Printf("%s\"%s\" is not a valid attribute name", Where.c_str(), It.key().c_str()));
			FSimAttributeDef Def;
			Def.Name = It.key();
			const FSimJson& V = It.value();
			if (V.is_number())
			{
				if (!std::isfinite(V.get<double>())) return Fail(Where + "the base value must be a finite number");
				Def.Base = V.get<double>();
			}
			else if (V.is_object())
			{
				for (auto K = V.begin(); K != V.end(); ++K)
				{
					if (K.key() != "Base" && K.key() != "Min" && K.key() != "Max")
					{
						return Fail(Tarnwick::Printf("%sunknown key \"%s\" (expected Base, Min, Max)", Where.c_str(), K.key().c_str()));
					}
				}
				const auto Base = V.find("Base");
				if (Base == V.end() || !Base->is_number() || !std::isfinite(Base->get<double>())) return Fail(Where + "\"Base\" must be a finite number");
				Def.Base = Base->get<double>();
				if (const auto Min = V.find("Min"); Min != V.end() && !ReadBound(*Min, Def.MinValue, Def.MinAttribute))
				{
					return Fail(Where + "\"Min\" must be a number or the name of another attribute of the set");
				}
				if (const auto Max = V.find("Max"); Max != V.end() && !ReadBound(*Max, Def.MaxValue, Def.MaxAttribute))
				{
					return Fail(Where + "\"Max\" must be a number or the name of another attribute of the set");
				}
			}
			else
			{
				return Fail(Where + "must be a number (the base value) or {\"Base\", \"Min\", \"Max\"}");
			}
			Set.Attributes.push_back(std::move(Def));
		}
		// Bounds that name attributes must name attributes of this set.
		for (const FSimAttributeDef& Def : Set.Attributes)
		{
			for (const std::string* Ref : {&Def.MinAttribute, &Def.MaxAttribute})
			{
				if (Ref->empty()) continue;
				const bool bKnown = std::any_of(Set.Attributes.begin(), Set.Attributes.end(), [&](const FSimAttributeDef& D) { return D.Name == *Ref; });
				if (!bKnown || *Ref == Def.Name)
				{
					return Fail(Tarnwick::Printf("%s.%s: the bound \"%s\" is not another attribute of %s", Set.Name.c_str(), Def.Name.c_str(),
						Ref->c_str(), Set.Name.c_str()));
				}
			}
		}
		Out.push_back(std::move(Set));
	}
	return Out;
}

std::vector<FSimAttributeSetDef> MergeAttributeSets(std::vector<FSimAttributeSetDef> Base, const std::vector<FSimAttributeSetDef>& Overrides)
{
	for (const FSimAttributeSetDef& O : Overrides)
	{
		auto SetIt = std::find_if(Base.begin(), Base.end(), [&](const FSimAttributeSetDef& S) { return S.Name == O.Name; });
		if (SetIt == Base.end())
		{
			Base.push_back(O);
			continue;
		}
		for (const FSimAttributeDef& A : O.Attributes)
		{
			auto AttrIt = std::find_if(SetIt->Attributes.begin(), SetIt->Attributes.end(), [&](const FSimAttributeDef& D) { return D.Name == A.Name; });
			if (AttrIt == SetIt->Attributes.end()) SetIt->Attributes.push_back(A);
			else *AttrIt = A;
		}
	}
	return Base;
}

}
