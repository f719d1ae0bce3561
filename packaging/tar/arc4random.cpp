// The random numbers of the libstdc++ that is linked into the program ask for this function, which glibc has from 2.36
// on. Nothing here uses them. Hidden, so that no other library takes it for glibc's.
extern "C" [[gnu::visibility("hidden")]] unsigned arc4random() noexcept
{
    __builtin_trap();
}
