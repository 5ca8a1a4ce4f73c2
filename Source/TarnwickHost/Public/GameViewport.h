// The PIE game viewport's client, the engine's UGameViewportClient: where input into the running game arrives.
//
// Keys pressed in the viewport and mouse movement over it are handed to the world's first local player, that
// is its first player controller (APlayerController::InputKey), as the engine's viewport does. Positions are
// viewport-local pixels from the top-left corner. Reached through UWorld::GetGameViewport() of a PIE or game
// world. Implemented by the host; game thread only.
#pragma once
#include "InputCoreTypes.h"
#include "Viewport.h"

class UWorld;

class UGameViewportClient
{
public:
	virtual ~UGameViewportClient() = default;

	/** The viewport the game draws into. */
	virtual FViewport* GetGameViewport() const = 0;
	virtual UWorld* GetWorld() const = 0;
	/**
	 * A key pressed (IE_Pressed) or released (IE_Released) in the viewport. False when the world has no player
	 * controller to receive it, or the key is an axis.
	 */
	virtual bool InputKey(const FInputKeyParams& Params) = 0;
	/**
	 * The mouse moved to (X, Y). The movement since the last position is handed on as MouseX (rightwards positive)
	 * and MouseY (upwards positive) axis input. False when there is no player controller to receive it.
	 */
	virtual bool MouseMove(int32 X, int32 Y) = 0;
	/** The last mouse position; the viewport's centre before the mouse first moved. */
	virtual FIntPoint GetMousePosition() const = 0;
};
