#include "ORQSrvExtrapolation.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

// Several components side by side, in one register of kBytes.
template <class T, std::size_t kBytes>
struct Lanes {
    static constexpr std::size_t kCount = kBytes / sizeof(T);
    typedef T Type __attribute__((vector_size(kBytes)));
};

struct Shape {
    std::size_t inputPoints;
    std::size_t outputPoints;
    std::size_t components;
};

// Output points whose sums run side by side; see ExtrapolateItem.
constexpr std::size_t kGroup = 4;

// The matrix as it is read: for each group of kGroup output points, input point by input point;
// then the remaining output points. Each entry stands once for each lane.
template <class T>
std::vector<T> Spread(const Shape& shape, const float* matrix, std::size_t lanes) {
    const std::size_t points = shape.inputPoints;
    const std::size_t grouped = shape.outputPoints / kGroup * kGroup;
    std::vector<T> spread(shape.outputPoints * points * lanes);
    for (std::size_t j = 0; j < shape.outputPoints; ++j) {
        for (std::size_t i = 0; i < points; ++i) {
            const std::size_t place = j < grouped
                                          ? j / kGroup * kGroup * points + i * kGroup + j % kGroup
                                          : j * points + i;
            std::fill_n(spread.data() + place * lanes, lanes,
                        static_cast<T>(matrix[j * points + i]));
        }
    }
    return spread;
}

// Components of one item that are computed together: those of one register, or of two.
template <class Register, class T>
struct One {
    using Value = Register;
    Register first;

    [[gnu::always_inline]] void Load(const T* from, std::size_t) {
        std::memcpy(&first, from, sizeof first);
    }
    [[gnu::always_inline]] void Store(T* to, std::size_t) const {
        std::memcpy(to, &first, sizeof first);
    }
    [[gnu::always_inline]] void Add(const Register& factor, const One& value) {
        first += factor * value.first;
    }
};
template <class Register, class T>
struct Two {
    using Value = Register;
    Register first;
    Register second;

    // The second register lies `apart` behind the first.
    [[gnu::always_inline]] void Load(const T* from, std::size_t apart) {
        std::memcpy(&first, from, sizeof first);
        std::memcpy(&second, from + apart, sizeof second);
    }
    [[gnu::always_inline]] void Store(T* to, std::size_t apart) const {
        std::memcpy(to, &first, sizeof first);
        std::memcpy(to + apart, &second, sizeof second);
    }
    [[gnu::always_inline]] void Add(const Register& factor, const Two& value) {
        first += factor * value.first;
        second += factor * value.second;
    }
};

// GCC would load a factor anew for each product; loads are what the loops wait for.
template <class Value, class T>
[[gnu::always_inline]] inline void LoadFactor(Value& factor, const T* from) {
    std::memcpy(&factor, from, sizeof factor);
#if defined(__x86_64__) && defined(__OPTIMIZE__) && !defined(__clang__)
    asm("" : "+x"(factor));
#endif
}

// Loads memory a few items ahead into the cache; a prefetch behind the end does no harm.
template <class T, int kIsWritten>
[[gnu::always_inline]] inline void Prefetch(const T* items, std::size_t length) {
    constexpr std::size_t kAhead = 2048;  // bytes
    // Bytes of a cache line on common processors. A processor with other lines fetches some twice,
    // or leaves some out.
    constexpr std::size_t kLine = 64;
    const std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(items) + kAhead;
    for (std::size_t at = 0; at < length * sizeof(T); at += kLine) {
        __builtin_prefetch(reinterpret_cast<const void*>(begin + at), kIsWritten);
    }
}

// The outputs of one item at all output points, for the components that Values hold. Sums stay in
// registers; four run at a time, since each must wait for its own last addition.
template <class Values, class T>
[[gnu::always_inline]] inline void ExtrapolateItem(const Shape& shape, std::size_t apart,
                                                   const T* input, T* output, const T* matrix) {
    using Value = typename Values::Value;
    constexpr std::size_t kLanes = sizeof(Value) / sizeof(T);  // NOLINT(bugprone-sizeof-expression)
    const std::size_t step = shape.components;
    Values value;
    Value factor0, factor1, factor2, factor3;
    std::size_t j = 0;
    for (; j + kGroup <= shape.outputPoints; j += kGroup) {
        Values sum0{}, sum1{}, sum2{}, sum3{};
        for (std::size_t i = 0; i < shape.inputPoints; ++i) {
            value.Load(input + i * step, apart);
            LoadFactor(factor0, matrix);
            LoadFactor(factor1, matrix + kLanes);
            LoadFactor(factor2, matrix + 2 * kLanes);
            LoadFactor(factor3, matrix + 3 * kLanes);
            sum0.Add(factor0, value);
            sum1.Add(factor1, value);
            sum2.Add(factor2, value);
            sum3.Add(factor3, value);
            matrix += kGroup * kLanes;
        }
        T* const to = output + j * step;
        sum0.Store(to, apart);
        sum1.Store(to + step, apart);
        sum2.Store(to + 2 * step, apart);
        sum3.Store(to + 3 * step, apart);
    }
    for (; j < shape.outputPoints; ++j) {
        Values sum{};
        for (std::size_t i = 0; i < shape.inputPoints; ++i) {
            value.Load(input + i * step, apart);
            LoadFactor(factor0, matrix);
            sum.Add(factor0, value);
            matrix += kLanes;
        }
        sum.Store(output + j * step, apart);
    }
}

template <class Value, class T>
[[gnu::always_inline]] inline void ExtrapolateItems(const Shape& shape, std::size_t items,
                                                    const T* input, T* output,
                                                    const float* matrix) {
    constexpr std::size_t kLanes = sizeof(Value) / sizeof(T);  // NOLINT(bugprone-sizeof-expression)
    const std::vector<T> spread = Spread<T>(shape, matrix, kLanes);
    const std::size_t inputLength = shape.inputPoints * shape.components;
    const std::size_t outputLength = shape.outputPoints * shape.components;
    // Without points the input may be null, to which nothing is added.
    const std::size_t hasInput = inputLength > 0 ? 1 : 0;
    // The last components may be computed twice, with the same result.
    const std::size_t last = shape.components - kLanes;
    for (std::size_t k = 0; k < items; ++k) {
        Prefetch<T, 0>(input, inputLength);
        Prefetch<T, 1>(output, outputLength);
        std::size_t m = 0;
        for (; m + kLanes < shape.components; m += 2 * kLanes) {
            ExtrapolateItem<Two<Value, T>>(shape, std::min(kLanes, last - m), input + m * hasInput,
                                           output + m, spread.data());
        }
        if (m < shape.components) {
            const std::size_t at = std::min(m, last);
            ExtrapolateItem<One<Value, T>>(shape, 0, input + at * hasInput, output + at,
                                           spread.data());
        }
        input += inputLength;
        output += outputLength;
    }
}

template <class T>
[[gnu::always_inline]] inline void ExtrapolateByLanes(const Shape& shape, std::size_t items,
                                                      const T* input, T* output,
                                                      const float* matrix, bool mayBeWide) {
    if (mayBeWide && shape.components >= Lanes<T, 32>::kCount) {
        ExtrapolateItems<typename Lanes<T, 32>::Type>(shape, items, input, output, matrix);
    } else if (shape.components >= Lanes<T, 16>::kCount) {
        ExtrapolateItems<typename Lanes<T, 16>::Type>(shape, items, input, output, matrix);
    } else {
        ExtrapolateItems<T>(shape, items, input, output, matrix);
    }
}

// The same operations in the instructions of machines that have registers of twice the size.
#if defined(__x86_64__)
template <class T>
[[gnu::target("avx")]] void ExtrapolateWide(const Shape& shape, std::size_t items, const T* input,
                                            T* output, const float* matrix) {
    ExtrapolateByLanes(shape, items, input, output, matrix, true);
}
bool HasWideRegisters() {
    return __builtin_cpu_supports("avx");
}
#else
template <class T>
void ExtrapolateWide(const Shape&, std::size_t, const T*, T*, const float*) {}
constexpr bool HasWideRegisters() {
    return false;
}
#endif

template <class T>
void Extrapolate(int inputPoints, int outputPoints, int components, int items, const T* input,
                 T* output, const float* matrix) {
    if (outputPoints < 1 || components < 1 || items < 1) {
        return;
    }
    const Shape shape{static_cast<std::size_t>(std::max(inputPoints, 0)),
                      static_cast<std::size_t>(outputPoints), static_cast<std::size_t>(components)};
    const auto count = static_cast<std::size_t>(items);
    if (HasWideRegisters()) {
        ExtrapolateWide(shape, count, input, output, matrix);
    } else {
        ExtrapolateByLanes(shape, count, input, output, matrix, false);
    }
}

}  // namespace

void ORQSrvExtrapolation::ExtrapolateDoublePrecision(int inputPoints, int outputPoints,
                                                     int components, int items, const double* input,
                                                     double* output, const float* matrix) {
    Extrapolate(inputPoints, outputPoints, components, items, input, output, matrix);
}

void ORQSrvExtrapolation::ExtrapolateSinglePrecision(int inputPoints, int outputPoints,
                                                     int components, int items, const float* input,
                                                     float* output, const float* matrix) {
    Extrapolate(inputPoints, outputPoints, components, items, input, output, matrix);
}
