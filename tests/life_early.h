/* life_early.h - what the library with the early static object tells. */
#ifndef VELSTD_TESTS_LIFE_EARLY_H
#define VELSTD_TESTS_LIFE_EARLY_H

#ifdef __cplusplus
extern "C" {
#endif

/* What went wrong in its constructor, or "". */
__attribute__((visibility("default"))) const char* LifeEarlyFailure(void);
/* Whether the library under test was started before it. */
__attribute__((visibility("default"))) int LifeEarlyCameSecond(void);

#ifdef __cplusplus
}
#endif

#endif /* VELSTD_TESTS_LIFE_EARLY_H */
