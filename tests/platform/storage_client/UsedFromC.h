#ifndef TARN_TESTS_USED_FROM_C_H
#define TARN_TESTS_USED_FROM_C_H

#ifdef __cplusplus
extern "C" {
#endif

/* The error type of a connection to a path where nobody listens; -1 when anything is amiss. */
int use_from_c(const char* path);

#ifdef __cplusplus
}
#endif

#endif
