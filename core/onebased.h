#pragma once

#include <cstddef>
#include <initializer_list>
#include <vector>

#include "core/runtimefault.h"

namespace kandor {

// A one-based array: indices run from 1 to ubound(), and an empty array has upper bound 0.
// Any index outside that range raises fault 9 (subscript out of range), as the writer's and
// the validation's error traps expect.
template <class T>
class OneBased {
  public:
    OneBased() = default;
    explicit OneBased(int upper) { redim(upper); }
    OneBased(std::initializer_list<T> init) : items_(init) {}

    int ubound() const noexcept { return static_cast<int>(items_.size()); }
    bool empty() const noexcept { return items_.empty(); }

    T& operator()(int i) {
        check(i);
        return items_[static_cast<std::size_t>(i - 1)];
    }
    const T& operator()(int i) const {
        check(i);
        return items_[static_cast<std::size_t>(i - 1)];
    }

    // Re-dimensions to 1..upper with every element reset; upper <= 0 empties the array.
    void redim(int upper) { items_.assign(upper > 0 ? static_cast<std::size_t>(upper) : 0, T{}); }
    // Re-dimensions to 1..upper keeping the elements that stay in range.
    void redimPreserve(int upper) {
        items_.resize(upper > 0 ? static_cast<std::size_t>(upper) : 0);
    }
    void append(T value) { items_.push_back(std::move(value)); }
    void clear() noexcept { items_.clear(); }

    auto begin() noexcept { return items_.begin(); }
    auto end() noexcept { return items_.end(); }
    auto begin() const noexcept { return items_.begin(); }
    auto end() const noexcept { return items_.end(); }
    const std::vector<T>& values() const noexcept { return items_; }
    std::vector<T>& values() noexcept { return items_; }

    friend bool operator==(const OneBased&, const OneBased&) = default;

  private:
    void check(int i) const {
        if (i < 1 || i > ubound()) raiseFault(fault::kSubscriptOutOfRange);
    }
    std::vector<T> items_;
};

// A one-based two-dimensional array (1..rows by 1..cols), stored row by row so that one row
// (for the candela table: one horizontal angle) is contiguous.
template <class T>
class OneBased2D {
  public:
    OneBased2D() = default;
    OneBased2D(int rows, int cols) { redim(rows, cols); }

    int rows() const noexcept { return rows_; }
    int cols() const noexcept { return cols_; }

    T& operator()(int r, int c) { return items_[index(r, c)]; }
    const T& operator()(int r, int c) const { return items_[index(r, c)]; }

    // Re-dimensions with every element reset; a non-positive size gives an empty array.
    void redim(int rows, int cols) {
        rows_ = rows > 0 && cols > 0 ? rows : 0;
        cols_ = rows > 0 && cols > 0 ? cols : 0;
        items_.assign(static_cast<std::size_t>(rows_) * static_cast<std::size_t>(cols_), T{});
    }

    const std::vector<T>& values() const noexcept { return items_; }
    std::vector<T>& values() noexcept { return items_; }

    friend bool operator==(const OneBased2D&, const OneBased2D&) = default;

  private:
    std::size_t index(int r, int c) const {
        if (r < 1 || r > rows_ || c < 1 || c > cols_) raiseFault(fault::kSubscriptOutOfRange);
        return static_cast<std::size_t>(r - 1) * static_cast<std::size_t>(cols_) +
               static_cast<std::size_t>(c - 1);
    }
    int rows_ = 0;
    int cols_ = 0;
    std::vector<T> items_;
};

}  // namespace kandor
