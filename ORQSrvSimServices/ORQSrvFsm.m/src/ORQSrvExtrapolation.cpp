#include "ORQSrvExtrapolation.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

namespace {

// Several components side by side: as many as fit into the registers that every machine has.
template <class T>
struct Lanes {
    static constexpr std::size_t kCount = 16 / sizeof(T);
    typedef T Type __attribute__((vector_size(16)));
};

struct Shape {
    std::size_t inputPoints;
    std::size_t outputPoints;
    std::size_t components;
};

// The outputs of one item at all output points, for the components that a Value holds. Sums stay in
// a register; several run at a time, since each must wait for its own last addition.
template <class Value, std::size_t kSums, class T>
void ExtrapolatePoints(const Shape& shape, const T* input, T* output, const T* matrix) {
    Value sums[kSums] = {};
    for (std::size_t i = 0; i < shape.inputPoints; ++i) {
        Value value;
        std::memcpy(&value, input + i * shape.components, sizeof value);
#pragma GCC unroll 4
        for (std::size_t j = 0; j < kSums; ++j) {
            sums[j] += matrix[j * shape.inputPoints + i] * value;
        }
    }
    for (std::size_t j = 0; j < kSums; ++j) {
        std::memcpy(output + j * shape.components, &sums[j], sizeof(Value));
    }
}

template <class Value, class T>
void ExtrapolateItem(const Shape& shape, const T* input, T* output, const T* matrix) {
    constexpr std::size_t kSums = 4;
    std::size_t j = 0;
    for (; j + kSums <= shape.outputPoints; j += kSums) {
        ExtrapolatePoints<Value, kSums>(shape, input, output + j * shape.components,
                                        matrix + j * shape.inputPoints);
    }
    for (; j < shape.outputPoints; ++j) {
        ExtrapolatePoints<Value, 1>(shape, input, output + j * shape.components,
                                    matrix + j * shape.inputPoints);
    }
}

template <class T>
void Extrapolate(int inputPoints, int outputPoints, int components, int items, const T* input,
                 T* output, const float* matrix) {
    if (outputPoints < 1 || components < 1 || items < 1) {
        return;
    }
    const Shape shape{static_cast<std::size_t>(std::max(inputPoints, 0)),
                      static_cast<std::size_t>(outputPoints), static_cast<std::size_t>(components)};
    const std::vector<T> widened(matrix, matrix + shape.outputPoints * shape.inputPoints);
    constexpr std::size_t kLanes = Lanes<T>::kCount;
    for (int k = 0; k < items; ++k) {
        std::size_t m = 0;
        for (; m + kLanes <= shape.components; m += kLanes) {
            ExtrapolateItem<typename Lanes<T>::Type>(shape, input + m, output + m, widened.data());
        }
        for (; m < shape.components; ++m) {
            ExtrapolateItem<T>(shape, input + m, output + m, widened.data());
        }
        input += shape.inputPoints * shape.components;
        output += shape.outputPoints * shape.components;
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
