/* Loads the installed library by its path, with no search path of the
 * loader's that names the install: it must find its companion library
 * next to itself. */
#include <dlfcn.h>
#include <stdio.h>

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    void* lib = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!lib) {
        fprintf(stderr, "loader: %s\n", dlerror());
        return 1;
    }
    return dlsym(lib, "qrbgDCT4InitAlloc_32f") ? 0 : 1;
}
