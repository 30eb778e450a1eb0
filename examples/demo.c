/* qrbgen demo: one short run through each transform family of the library.
 * Each family's part lives in its own file; the build compiles the parts
 * that exist. */
#include <qrbgen.h>
#include <stdio.h>

void demo_dft(void);
#ifdef QRBGEN_DEMO_REAL
void demo_real(void);
#endif
#ifdef QRBGEN_DEMO_WHT
void demo_wht(void);
#endif
#ifdef QRBGEN_DEMO_DCT4
void demo_dct4(void);
#endif

static void heading(const char* title) { printf("\n==== %s ====\n\n", title); }

int main(void) {
    const LibVersion* v = qrbgenGetLibVersion();
    printf("%s, version %s (%d.%d, target %s)\n", v->name, v->version, v->major, v->minor, v->targetCpu);
    heading("Complex DFT");
    demo_dft();
#ifdef QRBGEN_DEMO_REAL
    heading("Real DFT");
    demo_real();
#endif
#ifdef QRBGEN_DEMO_WHT
    heading("Walsh-Hadamard transform");
    demo_wht();
#endif
#ifdef QRBGEN_DEMO_DCT4
    heading("Type-IV DCT");
    demo_dct4();
#endif
    return 0;
}
