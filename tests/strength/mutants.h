#pragma once
// What code with mutants in it is compiled with: many of them in one program, of which one at most
// is chosen, when the program starts (mutants.cc). Included before everything else in each file.
//   (Mutant(7) ? 5 : 4)        a constant, and so on: the fault when 7 is chosen
//   a <= mutants::Op<8, mutants::kLess, mutants::kLessEqual>{} <= b
//                              a < b, or a <= b when 8 is chosen. The operators around Op bind as
//                              the original does, so nobody has to know where a begins and b ends.
// Nothing here is constexpr: where the compiler has to know a value, it says so, and the mutant
// gets a program of its own.
#include <utility>

extern "C" {
extern int qelprf_mutant_chosen;
extern unsigned char* qelprf_mutant_reached;  // one byte for each
}

#define QELPRF_MUTANT_INLINE static inline __attribute__((always_inline))

QELPRF_MUTANT_INLINE bool Mutant(int number) {
  qelprf_mutant_reached[number] = 1;
  return qelprf_mutant_chosen == number;
}

namespace mutants {
namespace {

enum Kind { kLess, kLessEqual, kMore, kMoreEqual, kEqual, kUnequal, kPlus, kMinus };

template <int kNumber, Kind kOld, Kind kNew>
struct Op {};

// The left side, on its way to the right one.
template <typename T, int kNumber, Kind kOld, Kind kNew>
struct Left {
  T&& value;
};
// The right side of += and -=.
template <typename T, int kNumber, Kind kOld, Kind kNew>
struct Right {
  T&& value;
};

template <Kind kKind, typename A, typename B>
__attribute__((always_inline)) inline decltype(auto) Apply(A&& a, B&& b) {
  if constexpr (kKind == kLess) {
    return a < b;
  } else if constexpr (kKind == kLessEqual) {
    return a <= b;
  } else if constexpr (kKind == kMore) {
    return a > b;
  } else if constexpr (kKind == kMoreEqual) {
    return a >= b;
  } else if constexpr (kKind == kEqual) {
    return a == b;
  } else if constexpr (kKind == kUnequal) {
    return a != b;
  } else if constexpr (kKind == kPlus) {
    return std::forward<A>(a) + std::forward<B>(b);
  } else {
    return std::forward<A>(a) - std::forward<B>(b);
  }
}

// Each of two operators, first towards Op and then away from it.
#define QELPRF_MUTANT_OPERATOR(op)                                                             \
  template <typename T, int kNumber, Kind kOld, Kind kNew>                                     \
  __attribute__((always_inline)) inline Left<T, kNumber, kOld, kNew> operator op(              \
      T&& left, Op<kNumber, kOld, kNew>) {                                                     \
    return {std::forward<T>(left)};                                                            \
  }                                                                                            \
  template <typename T, typename U, int kNumber, Kind kOld, Kind kNew>                         \
  __attribute__((always_inline)) inline auto operator op(Left<T, kNumber, kOld, kNew> left,    \
                                                         U&& right) {                          \
    return Mutant(kNumber) ? Apply<kNew>(std::forward<T>(left.value), std::forward<U>(right))  \
                           : Apply<kOld>(std::forward<T>(left.value), std::forward<U>(right)); \
  }
QELPRF_MUTANT_OPERATOR(<=)
QELPRF_MUTANT_OPERATOR(==)
QELPRF_MUTANT_OPERATOR(+)
#undef QELPRF_MUTANT_OPERATOR

template <typename T, int kNumber, Kind kOld, Kind kNew>
__attribute__((always_inline)) inline Right<T, kNumber, kOld, kNew> operator+=(
    Op<kNumber, kOld, kNew>, T&& right) {
  return {std::forward<T>(right)};
}
template <typename A, typename T, int kNumber, Kind kOld, Kind kNew>
__attribute__((always_inline)) inline A& operator+=(A& left, Right<T, kNumber, kOld, kNew> right) {
  if (Mutant(kNumber) == (kNew == kMinus)) {
    left -= std::forward<T>(right.value);
  } else {
    left += std::forward<T>(right.value);
  }
  return left;
}

}  // namespace
}  // namespace mutants
