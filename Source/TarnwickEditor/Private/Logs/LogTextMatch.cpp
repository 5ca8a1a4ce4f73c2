#include "Logs/LogTextMatch.h"

#include <algorithm>

namespace Tarnwick::Logs
{
std::string FoldAsciiCopy(std::string_view Text)
{
	std::string Out(Text);
	for (char& C : Out) C = FoldAscii(C);
	return Out;
}

int CompareIgnoreAsciiCase(std::string_view A, std::string_view B)
{
	const size_t N = std::min(A.size(), B.size());
	for (size_t I = 0; I < N; ++I)
	{
		const unsigned char L = static_cast<unsigned char>(FoldAscii(A[I]));
		const unsigned char R = static_cast<unsigned char>(FoldAscii(B[I]));
		if (L != R) return L < R ? -1 : 1;
	}
	return A.size() == B.size() ? 0 : (A.size() < B.size() ? -1 : 1);
}

FCaseInsensitivePattern::FCaseInsensitivePattern(std::string_view Pattern) : Folded(FoldAsciiCopy(Pattern))
{
	const size_t M = Folded.size();
	Skip.fill(M);
	for (size_t I = 0; I + 1 < M; ++I)
	{
		Skip[static_cast<unsigned char>(Folded[I])] = M - 1 - I;
	}
}

bool FCaseInsensitivePattern::FoundIn(std::string_view Text) const
{
	const size_t M = Folded.size();
	if (M == 0) return true;
	if (M > Text.size()) return false;
	const char Last = Folded[M - 1];
	for (size_t Pos = 0; Pos + M <= Text.size();)
	{
		const char C = FoldAscii(Text[Pos + M - 1]);
		if (C == Last)
		{
			size_t I = 0;
			while (I + 1 < M && FoldAscii(Text[Pos + I]) == Folded[I]) ++I;
			if (I + 1 >= M) return true;
		}
		Pos += Skip[static_cast<unsigned char>(C)];
	}
	return false;
}
}
