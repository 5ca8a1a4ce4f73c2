#include "Engine.h"

UEngine* GEngine = nullptr;

namespace Tarnwick::Host
{
void SetEngine(UEngine* Engine)
{
	GEngine = Engine;
}
}
