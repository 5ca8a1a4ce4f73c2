// The core's own tools, namespace "brindle": polling, listing and cancelling async jobs.
#pragma once

namespace Tarnwick::CoreTools
{
inline constexpr const char* Namespace = "brindle";
/** Registers brindle.get_async_job, brindle.list_async_jobs and brindle.cancel_async_job. */
void Register();
void Unregister();
}
