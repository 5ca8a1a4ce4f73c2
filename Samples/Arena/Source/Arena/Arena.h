#pragma once

#include "CoreMinimal.h"
