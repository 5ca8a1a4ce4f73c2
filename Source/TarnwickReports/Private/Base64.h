// Base64 for embedding images as data: URIs in a self-contained page.
#pragma once
#include <string>
#include <string_view>

namespace Tarnwick::Reports
{
std::string Base64Encode(std::string_view Bytes);
}
