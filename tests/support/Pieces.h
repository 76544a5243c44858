#pragma once
// How the partial-result tests cut data into chunks.

#include <utility>
#include <vector>

namespace KalixTest {

/// (start, length) pieces of 0..n: k pieces of uneven lengths plus an empty one in the middle.
inline std::vector<std::pair<int, int>> Pieces(int n, int k) {
  std::vector<std::pair<int, int>> out;
  int start = 0;
  for (int i = 0; i < k; ++i) {
    const int end = i + 1 == k ? n : start + (n - start) * (i % 3 + 1) / (k - i + 2);
    out.emplace_back(start, end - start);
    if (i == k / 2) out.emplace_back(start, 0);
    start = end;
  }
  return out;
}

}  // namespace KalixTest
