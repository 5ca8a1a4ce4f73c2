#include "HtmlParts.h"

#include "MarkupText.h"
#include "Printf.h"
#include "ReportJson.h"

#include <optional>

namespace Tarnwick::Reports::Html
{
std::string Esc(std::string_view Text)
{
	return EscapeText(Text);
}

std::string Attr(std::string_view Text)
{
	return EscapeAttribute(Text);
}

const char* PassClass(bool bPass)
{
	return bPass ? "pass" : "fail";
}

std::string Cell(const FJson& Object, std::string_view Key)
{
	const FJson* Value = FindKey(Object, Key);
	return Value && !Value->is_null() ? Esc(DisplayValue(*Value)) : std::string("–");
}

void Chip(std::string& Out, const char* Label, const FJson& Report, const char* Key)
{
	const std::optional<bool> Value = OptBool(Report, Key);
	const char* Class = !Value ? "unknown" : PassClass(*Value);
	Out += Printf("<li class=\"chip %s\" data-verdict=\"%s\">%s <b>%s</b></li>", Class, Key, Label, !Value ? "?" : *Value ? "✓" : "✗");
}

void Row(std::string& Out, const char* Label, const std::string& Value, const char* Class)
{
	Out += Printf("<tr class=\"%s\"><th>%s</th><td>", Class, Label);
	Out += Value;
	Out += "</td></tr>";
}

// A console-only stage or probe reports python_ok false with nothing run; only Python that ran and failed counts.
bool PythonFailed(const FJson& Script)
{
	return OptBool(Script, "python_ok") == std::optional<bool>(false) && !String(Script, "python_output").empty();
}

std::string VarAnchor(const FSmokeSpecResult& Result, const std::string& Var)
{
	return AnchorId("var-", Result.Name + "/" + Var);
}

std::string ExpectationAnchor(const FSmokeSpecResult& Result, const std::string& Id)
{
	return AnchorId("exp-", Result.Name + "/" + Id);
}
}
