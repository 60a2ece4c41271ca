#include "MontageInverse.h"

#include <cmath>
#include <utility>

namespace QVT::emulator {

std::vector<std::vector<double>> MontageInverse(const std::vector<FilledSlot>& filled) {
  const std::size_t n = filled.size();
  // a[i][j]: how much filled slot j weighs in the channel of signal i; its
  // inverse, by Gauss-Jordan elimination with partial pivoting, lands in b.
  std::vector<std::vector<double>> a(n, std::vector<double>(n)), b(n, std::vector<double>(n));
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j)
      a[i][j] = filled[i].channelWeights[static_cast<std::size_t>(filled[j].slot)];
    b[i][i] = 1.0;
  }
  for (std::size_t column = 0; column < n; ++column) {
    std::size_t pivot = column;
    for (std::size_t row = column + 1; row < n; ++row)
      if (std::fabs(a[row][column]) > std::fabs(a[pivot][column])) pivot = row;
    if (std::fabs(a[pivot][column]) < 1e-9) return {};
    std::swap(a[pivot], a[column]);
    std::swap(b[pivot], b[column]);
    const double scale = 1.0 / a[column][column];
    for (std::size_t j = 0; j < n; ++j) {
      a[column][j] *= scale;
      b[column][j] *= scale;
    }
    for (std::size_t row = 0; row < n; ++row) {
      const double factor = a[row][column];
      if (row == column || factor == 0.0) continue;
      for (std::size_t j = 0; j < n; ++j) {
        a[row][j] -= factor * a[column][j];
        b[row][j] -= factor * b[column][j];
      }
    }
  }
  std::vector<std::vector<double>> slots(kSlotCount, std::vector<double>(n, 0.0));
  for (std::size_t j = 0; j < n; ++j) slots[static_cast<std::size_t>(filled[j].slot)] = b[j];
  return slots;
}

}  // namespace QVT::emulator
