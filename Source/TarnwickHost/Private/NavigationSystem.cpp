#include "NavigationSystem.h"

#include <cmath>

double FNavigationPath::GetPathLength() const
{
	double Length = 0.0;
	for (size_t I = 1; I < PathPoints.size(); ++I)
	{
		const FVector& A = PathPoints[I - 1];
		const FVector& B = PathPoints[I];
		Length += std::sqrt((B.X - A.X) * (B.X - A.X) + (B.Y - A.Y) * (B.Y - A.Y) + (B.Z - A.Z) * (B.Z - A.Z));
	}
	return Length;
}
