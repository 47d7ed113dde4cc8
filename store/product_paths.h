#pragma once

#include <string>

namespace corvid {

// As messages name the product.
inline constexpr char kProductName[] = "Corvid Pro";

// A fixed path as a whole, however long it is: `assign` is one of the assignCorvidPro...
// operations.
std::string productPath(int (*assign)(char* buffer, int size));

} // namespace corvid
