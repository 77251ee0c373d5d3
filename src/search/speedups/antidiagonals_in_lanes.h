// The antidiagonals of a self-alignment table kept in vector lanes, for
// one instruction set. self_alignment_bound.cpp includes this once per set,
// each time in a namespace of its own that gives the helpers of the set
// (less, diagonal_step and highest_lane, for the vectors V it takes) and
// LANES_TARGET, the set's name for the target attribute; hence no include
// guard.

template <int K, typename V, typename Row>
__attribute__((target(LANES_TARGET))) void antidiagonals_in_lanes(const LanesShape& shape, int16_t* const out[2],
                                                                      int16_t mismatch, int16_t gap, int16_t cap,
                                                                      Row& row)
{
  constexpr int W = sizeof(V) / sizeof(int16_t); // lanes per vector
  // Narrow bands keep the antidiagonal two above in registers too.
  constexpr bool IN_REGISTERS = K * W <= 4 * LANES;
  const V zero = {};
  V lane, down, up;
  for (int16_t L = 0; L < W; ++L) {
    lane[L] = L;
    down[L] = static_cast<int16_t>(L + 1); // of (v, next): lane k + 1
    up[L] = static_cast<int16_t>(L + W - 1); // of (before, v): lane k - 1
  }
  // The lanes in the band, of the last vector (the others are all in it);
  // the window's vectors and lanes.
  V band[2], window[2][K];
  int lower[2]; // whether the second cell above is lane k - 1 rather than k + 1
  int window_from[2], window_to[2];
  for (int p = 0; p < 2; ++p) {
    band[p] = lane + static_cast<int16_t>(shape.h_lo[p] + W * (K - 1)) <= static_cast<int16_t>(shape.h_hi[p]);
    const int64_t w0 = shape.window[p] - shape.h_lo[p], w1 = w0 + shape.window_width;
    window_from[p] = static_cast<int>(w0 / W);
    window_to[p] = static_cast<int>((w1 - 1) / W);
    for (int j = 0; j < K; ++j) {
      const V k = lane + static_cast<int16_t>(W * j);
      window[p][j] = (k >= static_cast<int16_t>(w0)) & (k < static_cast<int16_t>(w1));
    }
    lower[p] = (p ? shape.h_lo[1] - shape.h_lo[0] : shape.h_lo[0] - shape.h_lo[1] - 1) < 0;
  }
  const V caps = zero + cap, gaps = zero + gap, mismatch_costs = zero + static_cast<int16_t>(-mismatch);
  const V two = zero + int16_t(2);
  // The antidiagonals top + 1 and top + 2, all at the edge.
  const int16_t edge_cell = shape.from_end ? int16_t(0) : cap;
  const V edge = zero + edge_cell;
  V above[K] = {}, above2[K] = {};
  for (int p = 0; p < 2; ++p)
    for (int j = 0; j < K; ++j) {
      const V cells = j == K - 1 ? edge & band[p] : edge;
      std::memcpy(out[p] + 1 + shape.h_lo[p] + W * j, &cells, sizeof cells);
      (p == ((shape.top + 1) & 1) ? above : above2)[j] = cells;
    }
  for (int64_t t = shape.top; t >= shape.bottom; --t) {
    const int p = static_cast<int>(t & 1);
    const int64_t q = (t - p) / 2;
    const int16_t* jc = shape.js + (q + p - shape.j_lo) + shape.h_lo[p];
    const int16_t* ic = shape.is + (shape.i_hi - q) + shape.h_lo[p];
    int16_t* cells = out[p] + 1 + shape.h_lo[p];
    V most = zero;
    // One pass over the vectors, each written over the antidiagonal two
    // above once read; before is the vector one above that came before.
    auto pass = [&](auto lower_lane) __attribute__((target(LANES_TARGET), always_inline)) {
      V before = zero;
      // Vector j of the antidiagonal; last: the band's last one, cut to
      // it; seen: one in the window. Where the calls below give them as
      // constants, the vector's code asks neither.
      auto step = [&](int j, bool last, bool seen) __attribute__((target(LANES_TARGET), always_inline)) {
        V J, I, two_above;
        std::memcpy(&J, jc + W * j, sizeof J);
        std::memcpy(&I, ic + W * j, sizeof I);
        if constexpr (IN_REGISTERS)
          two_above = above2[j];
        else
          std::memcpy(&two_above, cells + W * j, sizeof two_above);
        const V one_above = above[j];
        const V other = lower_lane ? __builtin_shuffle(before, one_above, up)
                                   : __builtin_shuffle(one_above, last ? zero : above[j + 1], down);
        const V diagonal = diagonal_step(two_above, J, I, mismatch_costs, two);
        const V gapped = less(one_above > other ? one_above : other, gaps);
        V cell = diagonal > gapped ? diagonal : gapped;
        cell = cell < caps ? cell : caps;
        if (last)
          cell &= band[p];
        std::memcpy(cells + W * j, &cell, sizeof cell);
        if (seen) {
          const V in_window = cell & window[p][j];
          most = most > in_window ? most : in_window;
        }
        if constexpr (IN_REGISTERS)
          above2[j] = one_above;
        above[j] = cell;
        before = one_above;
      };
      if constexpr (K <= 16) {
        // Unrolled whole (where the build unrolls), each vector knows
        // which it is.
        LANES_UNROLL
        for (int j = 0; j < K; ++j)
          step(j, j == K - 1, j >= window_from[p] && j <= window_to[p]);
      } else {
        // Too many to unroll: the loop is split where the window begins
        // and ends, and the last vector, cut to the band, is made on its
        // own, taken into the window's highest cell whether or not the
        // window reaches it (its mask has lanes there only where gaps cost
        // so much that the band ends just past the window).
        const int from = std::min(window_from[p], K - 1), to = std::min(window_to[p] + 1, K - 1);
        int j = 0;
        for (; j < from; ++j)
          step(j, false, false);
        for (; j < to; ++j)
          step(j, false, true);
        for (; j < K - 1; ++j)
          step(j, false, false);
        step(K - 1, true, true);
      }
    };
    if (lower[p])
      pass(std::true_type{});
    else
      pass(std::false_type{});
    row(t, static_cast<const int16_t*>(out[p] + 1), highest_lane(most));
  }
}

// The same with K vectors V of lanes, K from K0 to most.
template <typename V, int K0, int most, typename Row>
void antidiagonals_in_vectors(int K, const LanesShape& shape, int16_t* const out[2], int16_t mismatch, int16_t gap,
                              int16_t cap, Row& row)
{
  if (K == K0)
    antidiagonals_in_lanes<K0, V>(shape, out, mismatch, gap, cap, row);
  else if constexpr (K0 < most)
    antidiagonals_in_vectors<V, K0 + 1, most>(K, shape, out, mismatch, gap, cap, row);
}
