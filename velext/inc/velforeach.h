// velforeach.h - a macro for each of any number of arguments.
//
// VEL_FOR_EACH(M, a, b, c) expands to M(a) M(b) M(c), for one to 1,092 arguments;
// VEL_FOR_EACH_BUT_FIRST(M, a, b, c) to M(b) M(c), or to nothing. More arguments do not
// compile. A preprocessor does not call itself: the expansion stops after each
// argument and is taken up again by VEL_AGAIN, and the list ends with marks which,
// when they are called like a macro, turn what would go on into nothing (after
// William Swanson's "map-macro", 2012, which is in the public domain).
#ifndef VELSTD_VELEXT_VELFOREACH_H
#define VELSTD_VELEXT_VELFOREACH_H

/// M called with each of the arguments.
#define VEL_FOR_EACH(M, ...) \
  VEL_AGAIN(VEL_EACH_START(M, __VA_ARGS__, ()()(), ()()(), ()()(), 0))
/// The same for what follows the first of the arguments.
#define VEL_FOR_EACH_BUT_FIRST(M, ...) \
  VEL_AGAIN(VEL_EACH_REST(M, __VA_ARGS__, ()()(), ()()(), ()()(), 0))

/// @cond internal
#define VEL_AGAIN0(...) __VA_ARGS__
#define VEL_AGAIN1(...) VEL_AGAIN0(VEL_AGAIN0(VEL_AGAIN0(__VA_ARGS__)))
#define VEL_AGAIN2(...) VEL_AGAIN1(VEL_AGAIN1(VEL_AGAIN1(__VA_ARGS__)))
#define VEL_AGAIN3(...) VEL_AGAIN2(VEL_AGAIN2(VEL_AGAIN2(__VA_ARGS__)))
#define VEL_AGAIN4(...) VEL_AGAIN3(VEL_AGAIN3(VEL_AGAIN3(__VA_ARGS__)))
#define VEL_AGAIN5(...) VEL_AGAIN4(VEL_AGAIN4(VEL_AGAIN4(__VA_ARGS__)))
#define VEL_AGAIN(...) VEL_AGAIN5(VEL_AGAIN5(VEL_AGAIN5(__VA_ARGS__)))

#define VEL_EACH_NOTHING
#define VEL_EACH_STOP(...)
#define VEL_EACH_END3() 0, VEL_EACH_STOP
#define VEL_EACH_END2(...) VEL_EACH_END3
#define VEL_EACH_END1(...) VEL_EACH_END2
#define VEL_EACH_GO2(test, next, ...) next VEL_EACH_NOTHING
#define VEL_EACH_GO1(test, next) VEL_EACH_GO2(test, next, 0)
#define VEL_EACH_GO(peek, next) VEL_EACH_GO1(VEL_EACH_END1 peek, next)
#define VEL_EACH_A(M, x, peek, ...) M(x) VEL_EACH_GO(peek, VEL_EACH_B)(M, peek, __VA_ARGS__)
#define VEL_EACH_B(M, x, peek, ...) M(x) VEL_EACH_GO(peek, VEL_EACH_A)(M, peek, __VA_ARGS__)
#define VEL_EACH_START(M, peek, ...) VEL_EACH_GO(peek, VEL_EACH_A)(M, peek, __VA_ARGS__)
#define VEL_EACH_REST(M, first, peek, ...) VEL_EACH_GO(peek, VEL_EACH_A)(M, peek, __VA_ARGS__)
/// @endcond

/// The first of the arguments.
#define VEL_FIRST(...) VEL_FIRST1(__VA_ARGS__, 0)

/// @cond internal
#define VEL_FIRST1(first, ...) first
/// @endcond

#endif  // VELSTD_VELEXT_VELFOREACH_H
