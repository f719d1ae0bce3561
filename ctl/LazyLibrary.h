#pragma once

namespace ctl {

/// The address of a function in a shared library, which is loaded for it. Where it is not to be had, the program ends
/// with a complaint: the loader would have done the same before main.
void* lazySymbol(const char* library, const char* function);

/// The same, as a function of the type of `likeness`.
///
/// A large library costs a start of the program more than all else of `list` does, and few commands need one. So
/// LazyNAME.cpp defines functions with the names of those that the program calls in NAME; they stand in the program
/// itself, so the linker has no need of the library, and each passes its call on to the real one. A test holds that the
/// program is not linked against them.
template <typename Function> Function* lazyFunction(const char* library, const char* name, Function* /*likeness*/)
{
    return reinterpret_cast<Function*>(lazySymbol(library, name));
}

} // namespace ctl
