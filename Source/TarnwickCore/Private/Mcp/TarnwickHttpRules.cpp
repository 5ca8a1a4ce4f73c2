// The checks the HTTP endpoint applies to a request's headers (Host, Origin, token, Accept), as pure functions.
#include "Mcp/TarnwickHttpRequestParser.h"
#include "Mcp/TarnwickMcpTransports.h"

#include <string>
#include <string_view>

namespace Tarnwick::Mcp
{
namespace HttpRules
{
namespace
{
using Http::EqualsNoCase;

bool StartsWithNoCase(std::string_view Text, std::string_view Prefix)
{
	return Text.size() >= Prefix.size() && EqualsNoCase(Text.substr(0, Prefix.size()), Prefix);
}

bool IsDigit(char C)
{
	return C >= '0' && C <= '9';
}

bool IsValidPort(std::string_view Port)
{
	if (Port.empty() || Port.size() > 5)
	{
		return false;
	}
	unsigned Value = 0;
	for (char C : Port)
	{
		if (!IsDigit(C))
		{
			return false;
		}
		Value = Value * 10 + static_cast<unsigned>(C - '0');
	}
	return Value <= 65535;
}

bool IsNameChar(char C)
{
	return (C >= 'a' && C <= 'z') || (C >= 'A' && C <= 'Z') || IsDigit(C) || C == '.' || C == '-' || C == '_';
}

bool IsV6Char(char C)
{
	return IsDigit(C) || (C >= 'a' && C <= 'f') || (C >= 'A' && C <= 'F') || C == ':' || C == '.';
}

/** A dotted quad whose first octet is 127. */
bool IsLoopbackV4(std::string_view Name)
{
	int Octets = 0;
	while (true)
	{
		const size_t Dot = Name.find('.');
		const std::string_view Octet = Name.substr(0, Dot);
		if (Octet.empty() || Octet.size() > 3)
		{
			return false;
		}
		unsigned Value = 0;
		for (char C : Octet)
		{
			if (!IsDigit(C))
			{
				return false;
			}
			Value = Value * 10 + static_cast<unsigned>(C - '0');
		}
		if (Value > 255 || (Octets == 0 && Value != 127))
		{
			return false;
		}
		++Octets;
		if (Dot == std::string_view::npos)
		{
			break;
		}
		Name.remove_prefix(Dot + 1);
	}
	return Octets == 4;
}
}

bool IsLoopbackHostName(std::string_view Name)
{
	return EqualsNoCase(Name, "localhost") || Name == "::1" || IsLoopbackV4(Name);
}

bool SplitHostPort(std::string_view HostPort, std::string& OutHost, std::string& OutPort)
{
	std::string_view Host;
	std::string_view Rest;
	if (!HostPort.empty() && HostPort.front() == '[')
	{
		const size_t Close = HostPort.find(']');
		if (Close == std::string_view::npos)
		{
			return false;
		}
		Host = HostPort.substr(1, Close - 1);
		Rest = HostPort.substr(Close + 1);
		for (char C : Host)
		{
			if (!IsV6Char(C))
			{
				return false;
			}
		}
	}
	else
	{
		const size_t Colon = HostPort.find(':');
		Host = HostPort.substr(0, Colon);
		Rest = Colon == std::string_view::npos ? std::string_view() : HostPort.substr(Colon);
		for (char C : Host)
		{
			if (!IsNameChar(C))
			{
				return false;
			}
		}
	}
	if (Host.empty())
	{
		return false;
	}
	std::string_view Port;
	if (!Rest.empty())
	{
		if (Rest.front() != ':' || !IsValidPort(Rest.substr(1)))
		{
			return false;
		}
		Port = Rest.substr(1);
	}
	OutHost.assign(Host);
	OutPort.assign(Port);
	return true;
}

bool IsAllowedHost(std::string_view Host, std::string_view BoundHostPort)
{
	std::string Name;
	std::string Port;
	if (!SplitHostPort(Host, Name, Port))
	{
		return false;
	}
	return IsLoopbackHostName(Name) || (!BoundHostPort.empty() && EqualsNoCase(Host, BoundHostPort));
}

bool IsAllowedOrigin(std::string_view Origin, std::string_view BoundHostPort)
{
	for (std::string_view Scheme : {std::string_view("http://"), std::string_view("https://")})
	{
		if (StartsWithNoCase(Origin, Scheme))
		{
			return IsAllowedHost(Origin.substr(Scheme.size()), BoundHostPort);
		}
	}
	return false;
}

bool IsAuthorized(std::string_view Authorization, std::string_view Token)
{
	if (Token.empty())
	{
		return true;
	}
	if (!StartsWithNoCase(Authorization, "Bearer "))
	{
		return false;
	}
	std::string_view Given = Authorization.substr(7);
	while (!Given.empty() && Given.front() == ' ')
	{
		Given.remove_prefix(1);
	}
	while (!Given.empty() && (Given.back() == ' ' || Given.back() == '\t'))
	{
		Given.remove_suffix(1);
	}
	// Every byte of the expected token is looked at whatever the input, so timing does not reveal a prefix.
	unsigned Difference = Given.size() == Token.size() ? 0u : 1u;
	for (size_t Index = 0; Index < Token.size(); ++Index)
	{
		const char G = Index < Given.size() ? Given[Index] : '\0';
		Difference |= static_cast<unsigned>(static_cast<unsigned char>(G) ^ static_cast<unsigned char>(Token[Index]));
	}
	return Difference == 0;
}

bool AcceptsEventStream(std::string_view Accept)
{
	bool bAccepted = false;
	while (!Accept.empty())
	{
		const size_t Comma = Accept.find(',');
		std::string_view Range = Accept.substr(0, Comma);
		Accept = Comma == std::string_view::npos ? std::string_view() : Accept.substr(Comma + 1);
		Range = Range.substr(0, Range.find(';'));
		while (!Range.empty() && (Range.front() == ' ' || Range.front() == '\t')) Range.remove_prefix(1);
		while (!Range.empty() && (Range.back() == ' ' || Range.back() == '\t')) Range.remove_suffix(1);
		bAccepted = bAccepted || EqualsNoCase(Range, "text/event-stream") || Range == "*/*" || EqualsNoCase(Range, "text/*");
	}
	return bAccepted;
}
}
}
