/* assert.h for Rill. Included again, it follows NDEBUG anew. */
#undef assert
#ifdef NDEBUG
#define assert(e) ((void)0)
#else
int printf(const char* format, ...);
void abort(void) __attribute__((noreturn));
#define assert(e) \
  ((e) ? (void)0 \
       : (printf("%s:%d: %s: Assertion `%s' failed.\n", __FILE__, __LINE__, __func__, #e), abort()))
#endif
#ifndef _RILL_ASSERT_H
#define _RILL_ASSERT_H
#if __STDC_VERSION__ >= 201112L
#define static_assert _Static_assert
#endif
#endif
