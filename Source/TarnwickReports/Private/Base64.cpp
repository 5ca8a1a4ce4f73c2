#include "Base64.h"

namespace Tarnwick::Reports
{
std::string Base64Encode(std::string_view Bytes)
{
	static constexpr char Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
	std::string Out;
	Out.reserve((Bytes.size() + 2) / 3 * 4);
	size_t I = 0;
	const auto At = [&](size_t K) { return static_cast<unsigned int>(static_cast<unsigned char>(Bytes[K])); };
	for (; I + 2 < Bytes.size(); I += 3)
	{
		const unsigned int N = (At(I) << 16) | (At(I + 1) << 8) | At(I + 2);
		Out += Alphabet[(N >> 18) & 63];
		Out += Alphabet[(N >> 12) & 63];
		Out += Alphabet[(N >> 6) & 63];
		Out += Alphabet[N & 63];
	}
	if (I + 1 == Bytes.size())
	{
		const unsigned int N = At(I) << 16;
		Out += Alphabet[(N >> 18) & 63];
		Out += Alphabet[(N >> 12) & 63];
		Out += "==";
	}
	else if (I + 2 == Bytes.size())
	{
		const unsigned int N = (At(I) << 16) | (At(I + 1) << 8);
		Out += Alphabet[(N >> 18) & 63];
		Out += Alphabet[(N >> 12) & 63];
		Out += Alphabet[(N >> 6) & 63];
		Out += '=';
	}
	return Out;
}
}
