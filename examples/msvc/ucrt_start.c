/* What the Microsoft toolchain's own static runtime (vcruntime, the UCRT's startup objects and
 * its inline stdio) would add to the example: the entry point and printf, fprintf and snprintf
 * over the Universal C Runtime, ucrtbase.dll. Only for building the example with clang for the
 * MSVC target and lld-link where no Visual Studio is installed; a host built by Visual Studio
 * links its runtime instead and needs none of this. */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char** argv);

/* From ucrtbase.dll; its own headers are not part of MinGW's. */
enum { kArgvUnexpanded = 1 };
int __cdecl _configure_narrow_argv(int mode);

/* The compiler refers to this symbol in every object that uses floating point. */
int _fltused = 0;

int __cdecl printf(const char* format, ...) {
    va_list arguments;
    int written;
    va_start(arguments, format);
    written = __stdio_common_vfprintf(_CRT_INTERNAL_LOCAL_PRINTF_OPTIONS, stdout, format, NULL, arguments);
    va_end(arguments);
    return written;
}

int __cdecl fprintf(FILE* file, const char* format, ...) {
    va_list arguments;
    int written;
    va_start(arguments, format);
    written = __stdio_common_vfprintf(_CRT_INTERNAL_LOCAL_PRINTF_OPTIONS, file, format, NULL, arguments);
    va_end(arguments);
    return written;
}

int __cdecl snprintf(char* buffer, size_t size, const char* format, ...) {
    va_list arguments;
    int written;
    va_start(arguments, format);
    written = __stdio_common_vsprintf(_CRT_INTERNAL_LOCAL_PRINTF_OPTIONS | _CRT_INTERNAL_PRINTF_STANDARD_SNPRINTF_BEHAVIOR,
                                      buffer, size, format, NULL, arguments);
    va_end(arguments);
    return written;
}

/* The entry point (lld-link /entry:start): exit() flushes stdout and stderr before the process ends. */
void __cdecl start(void) {
    if (_configure_narrow_argv(kArgvUnexpanded) != 0) exit(255);
    exit(main(*__p___argc(), *__p___argv()));
}
