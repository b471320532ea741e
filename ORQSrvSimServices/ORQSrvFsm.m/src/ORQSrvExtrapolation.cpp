#include "ORQSrvExtrapolation.h"

#include <algorithm>
#include <cstddef>
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

constexpr std::size_t kSums = 4;

// The matrix as it is read: for each group of kSums output points, input point by input point; then
// the remaining output points. Each entry stands once for each lane.
template <class T>
std::vector<T> Spread(const Shape& shape, const float* matrix, std::size_t lanes) {
    const std::size_t points = shape.inputPoints;
    const std::size_t grouped = shape.outputPoints / kSums * kSums;
    std::vector<T> spread(shape.outputPoints * points * lanes);
    for (std::size_t j = 0; j < shape.outputPoints; ++j) {
        for (std::size_t i = 0; i < points; ++i) {
            const std::size_t place =
                j < grouped ? j / kSums * kSums * points + i * kSums + j % kSums : j * points + i;
            std::fill_n(spread.data() + place * lanes, lanes,
                        static_cast<T>(matrix[j * points + i]));
        }
    }
    return spread;
}

// The outputs of one item at all output points, for the components that a Value holds. Sums stay in
// registers; four run at a time, since each must wait for its own last addition.
template <class Value, class T>
[[gnu::always_inline]] inline void ExtrapolateItem(const Shape& shape, const T* input, T* output,
                                                   const T* matrix) {
    constexpr std::size_t kLanes = sizeof(Value) / sizeof(T);
    const std::size_t step = shape.components;
    Value value, factor0, factor1, factor2, factor3;
    std::size_t j = 0;
    for (; j + kSums <= shape.outputPoints; j += kSums) {
        Value sum0{}, sum1{}, sum2{}, sum3{};
        for (std::size_t i = 0; i < shape.inputPoints; ++i) {
            std::memcpy(&value, input + i * step, sizeof value);
            std::memcpy(&factor0, matrix, sizeof value);
            std::memcpy(&factor1, matrix + kLanes, sizeof value);
            std::memcpy(&factor2, matrix + 2 * kLanes, sizeof value);
            std::memcpy(&factor3, matrix + 3 * kLanes, sizeof value);
            sum0 += factor0 * value;
            sum1 += factor1 * value;
            sum2 += factor2 * value;
            sum3 += factor3 * value;
            matrix += kSums * kLanes;
        }
        T* const to = output + j * step;
        std::memcpy(to, &sum0, sizeof value);
        std::memcpy(to + step, &sum1, sizeof value);
        std::memcpy(to + 2 * step, &sum2, sizeof value);
        std::memcpy(to + 3 * step, &sum3, sizeof value);
    }
    for (; j < shape.outputPoints; ++j) {
        Value sum{};
        for (std::size_t i = 0; i < shape.inputPoints; ++i) {
            std::memcpy(&value, input + i * step, sizeof value);
            std::memcpy(&factor0, matrix, sizeof value);
            sum += factor0 * value;
            matrix += kLanes;
        }
        std::memcpy(output + j * step, &sum, sizeof value);
    }
}

template <class Value, class T>
[[gnu::always_inline]] inline void ExtrapolateItems(const Shape& shape, int items, const T* input,
                                                    T* output, const float* matrix) {
    constexpr std::size_t kLanes = sizeof(Value) / sizeof(T);
    const std::vector<T> spread = Spread<T>(shape, matrix, kLanes);
    for (int k = 0; k < items; ++k) {
        for (std::size_t m = 0; m < shape.components; m += kLanes) {
            // The last components may be computed twice, with the same result.
            const std::size_t at = std::min(m, shape.components - kLanes);
            ExtrapolateItem<Value>(shape, input + at, output + at, spread.data());
        }
        input += shape.inputPoints * shape.components;
        output += shape.outputPoints * shape.components;
    }
}

template <class T>
[[gnu::always_inline]] inline void ExtrapolateByLanes(const Shape& shape, int items, const T* input,
                                                      T* output, const float* matrix,
                                                      bool mayBeWide) {
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
[[gnu::target("avx")]] void ExtrapolateWide(const Shape& shape, int items, const T* input,
                                            T* output, const float* matrix) {
    ExtrapolateByLanes(shape, items, input, output, matrix, true);
}
bool HasWideRegisters() {
    return __builtin_cpu_supports("avx");
}
#else
template <class T>
void ExtrapolateWide(const Shape&, int, const T*, T*, const float*) {}
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
    if (HasWideRegisters()) {
        ExtrapolateWide(shape, items, input, output, matrix);
    } else {
        ExtrapolateByLanes(shape, items, input, output, matrix, false);
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
