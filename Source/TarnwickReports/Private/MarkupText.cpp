#include "MarkupText.h"

#include "Printf.h"

namespace Tarnwick::Reports
{
namespace
{
// Length of the well-formed UTF-8 sequence at Text[I], or 0 when it is malformed (overlong, surrogate, past U+10FFFF).
size_t Utf8SequenceLength(std::string_view Text, size_t I)
{
	const auto Byte = [&](size_t K) { return static_cast<unsigned char>(Text[K]); };
	const unsigned char C = Byte(I);
	if (C < 0x80)
	{
		return 1;
	}
	size_t Len = 0;
	unsigned int Min = 0;
	unsigned int Code = 0;
	if ((C & 0xE0) == 0xC0)
	{
		Len = 2;
		Min = 0x80;
		Code = C & 0x1F;
	}
	else if ((C & 0xF0) == 0xE0)
	{
		Len = 3;
		Min = 0x800;
		Code = C & 0x0F;
	}
	else if ((C & 0xF8) == 0xF0)
	{
		Len = 4;
		Min = 0x10000;
		Code = C & 0x07;
	}
	else
	{
		return 0;
	}
	if (I + Len > Text.size())
	{
		return 0;
	}
	for (size_t K = 1; K < Len; ++K)
	{
		if ((Byte(I + K) & 0xC0) != 0x80)
		{
			return 0;
		}
		Code = (Code << 6) | (Byte(I + K) & 0x3F);
	}
	if (Code < Min || Code > 0x10FFFF || (Code >= 0xD800 && Code <= 0xDFFF) || Code == 0xFFFE || Code == 0xFFFF)
	{
		return 0;
	}
	return Len;
}
}

std::string CleanText(std::string_view Text)
{
	std::string Out;
	Out.reserve(Text.size());
	for (size_t I = 0; I < Text.size();)
	{
		const unsigned char C = static_cast<unsigned char>(Text[I]);
		if (C < 0x20 && C != '\t' && C != '\n' && C != '\r')
		{
			++I;
			continue;
		}
		const size_t Len = Utf8SequenceLength(Text, I);
		if (Len == 0)
		{
			Out += "\xEF\xBF\xBD";
			++I;
			continue;
		}
		Out.append(Text.substr(I, Len));
		I += Len;
	}
	return Out;
}

std::string EscapeText(std::string_view Text)
{
	const std::string Clean = CleanText(Text);
	std::string Out;
	Out.reserve(Clean.size() + Clean.size() / 8);
	for (const char C : Clean)
	{
		switch (C)
		{
		case '&': Out += "&amp;"; break;
		case '<': Out += "&lt;"; break;
		case '>': Out += "&gt;"; break;
		case '\r': Out += "&#13;"; break;
		default: Out += C; break;
		}
	}
	return Out;
}

std::string EscapeAttribute(std::string_view Text)
{
	const std::string Clean = CleanText(Text);
	std::string Out;
	Out.reserve(Clean.size() + Clean.size() / 8);
	for (const char C : Clean)
	{
		switch (C)
		{
		case '&': Out += "&amp;"; break;
		case '<': Out += "&lt;"; break;
		case '>': Out += "&gt;"; break;
		case '"': Out += "&quot;"; break;
		// Every attribute is written in double quotes, so an apostrophe stays as it is: some JUnit readers do not
		// decode character references in attributes and would show a test named "Expected &#39;x&#39;".
		// Attribute values are normalised by XML parsers: literal line breaks and tabs would become spaces.
		case '\n': Out += "&#10;"; break;
		case '\r': Out += "&#13;"; break;
		case '\t': Out += "&#9;"; break;
		default: Out += C; break;
		}
	}
	return Out;
}

std::string AnchorId(std::string_view Prefix, std::string_view Text)
{
	std::string Out(Prefix);
	for (const char C : Text)
	{
		const unsigned char U = static_cast<unsigned char>(C);
		if ((U >= 'a' && U <= 'z') || (U >= 'A' && U <= 'Z') || (U >= '0' && U <= '9') || U == '-' || U == '_')
		{
			Out += C;
		}
		else
		{
			Out += Printf("_%02X", U);
		}
	}
	return Out;
}
}
