#pragma once

#include <string>

/** What a constructor that runs before main() had on standard output after it had logged. */
std::string textLoggedBeforeMain();
