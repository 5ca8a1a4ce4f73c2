#include "Printf.h"

#include <cstdio>

namespace Tarnwick
{
std::string VPrintf(const char* Format, va_list Args)
{
	char Stack[512];
	va_list Copy;
	va_copy(Copy, Args);
	const int Needed = std::vsnprintf(Stack, sizeof(Stack), Format, Copy);
	va_end(Copy);
	if (Needed < 0)
	{
		return std::string();
	}
	if (static_cast<size_t>(Needed) < sizeof(Stack))
	{
		return std::string(Stack, static_cast<size_t>(Needed));
	}
	std::string Out(static_cast<size_t>(Needed), '\0');
	std::vsnprintf(Out.data(), Out.size() + 1, Format, Args);
	return Out;
}

std::string Printf(const char* Format, ...)
{
	va_list Args;
	va_start(Args, Format);
	std::string Out = VPrintf(Format, Args);
	va_end(Args);
	return Out;
}
}
