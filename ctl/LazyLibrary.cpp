#include "ctl/LazyLibrary.h"

#include "ctl/Outcome.h"
#include "ctl/Streams.h"

#include <cstdlib>
#include <string>

#include <dlfcn.h>

namespace ctl {

void* lazySymbol(const char* library, const char* function)
{
    void* const handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
    void* const symbol = handle == nullptr ? nullptr : dlsym(handle, function);
    if (symbol == nullptr) {
        complain(std::string("cannot load ") + dlerror());
        std::_Exit(static_cast<int>(ExitStatus::NotDone));
    }
    return symbol;
}

} // namespace ctl
