/* A host in C: the plain entry points compile, link and answer. */

#include <stdio.h>

#include "zemra/api/zmapi_c.h"

static int messages;

static void Count(const char* text, unsigned char type, void* data) {
    ++messages;
    if (type != 'i') printf("%c: %s (%c)\n", type, text, *(const char*)data);
}

static int Differs(double actual, double expected) {
    const double difference = actual - expected;
    return !(difference < 1e-14 && difference > -1e-14);
}

/* x'' = -(2 pi)^2 x, states x and x'/(2 pi): one cycle per second. */
static int StandardProblemFails(void) {
    const double w = 6.283185307179586;
    const double a[] = {0, -w, w, 0};
    double wr[2], wi[2], z[4];
    int found = -1;
    EigenSolution(2, a, wr, wi, z, &found);
    /* The vector of +i is a multiple of (1, i). */
    return found != 2 || Differs(wr[0], 0) || Differs(wi[0], 1) || Differs(wi[1], -1) ||
           Differs(z[1], -z[2]) || Differs(z[3], z[0]);
}

/* Two masses 1 and 2 on springs 8 and 18: 8 and 9. */
static int GeneralProblemFails(void) {
    const double k[] = {8, 0, 0, 18}, m[] = {1, 0, 0, 2};
    double er[] = {5, 5, 5, 5}, ei[] = {5, 5, 5, 5};
    int found = -1;
    GeneralEigenSolution(2, k, m, er, ei, NULL, NULL, &found);
    return found != 2 || Differs(er[0], 8) || Differs(er[3], 9) || er[1] != 5 || er[2] != 5 ||
           ei[0] != 0 || ei[3] != 0;
}

static int BalanceFails(void) {
    double a[] = {1, 1e4, 1e-4, 1}, out[4];
    const bool done = VibMatrix_Balance(out, a, 2);
    return !done || a[1] != 1e4 / 4096 || out[2] != a[1] || out[1] != a[2];
}

int main(void) {
    ZmAPI_PushMessageHandler(&Count, 0, NULL);
    const int failed = StandardProblemFails() + 2 * GeneralProblemFails() + 4 * BalanceFails();
    const int isLast = ZmAPI_PopMessageHandler() == &Count;
    if (failed || !isLast || messages != 2)
        printf("failed: %d, messages: %d\n", failed, messages);
    return failed || !isLast || messages != 2;
}
