// Ranges over elements with an index: tables of a result, columns, records, values of a record.
#ifndef VEKAPI_INDEXRANGE_HPP
#define VEKAPI_INDEXRANGE_HPP

#include <compare>
#include <cstddef>
#include <iterator>
#include <ranges>

namespace VekApi::Detail {

// Holds a copy of the view, so it may outlive it.
template <class View>
class IndexIterator {
 public:
  using iterator_concept = std::random_access_iterator_tag;
  using iterator_category = std::input_iterator_tag;  // * gives a value, not a reference
  using value_type = typename View::Item;
  using difference_type = std::ptrdiff_t;

  IndexIterator() = default;
  IndexIterator(const View& view, int at) : view_(view), at_(at) {}

  value_type operator*() const { return view_.At(at_); }
  value_type operator[](difference_type by) const { return *(*this + by); }
  IndexIterator& operator+=(difference_type by) {
    at_ += static_cast<int>(by);
    return *this;
  }
  IndexIterator& operator-=(difference_type by) { return *this += -by; }
  IndexIterator& operator++() { return *this += 1; }
  IndexIterator& operator--() { return *this -= 1; }
  IndexIterator operator++(int) {
    IndexIterator before = *this;
    ++*this;
    return before;
  }
  IndexIterator operator--(int) {
    IndexIterator before = *this;
    --*this;
    return before;
  }
  friend IndexIterator operator+(IndexIterator from, difference_type by) { return from += by; }
  friend IndexIterator operator+(difference_type by, IndexIterator from) { return from += by; }
  friend IndexIterator operator-(IndexIterator from, difference_type by) { return from -= by; }
  friend difference_type operator-(const IndexIterator& a, const IndexIterator& b) { return a.at_ - b.at_; }
  friend bool operator==(const IndexIterator& a, const IndexIterator& b) { return a.at_ == b.at_; }
  friend auto operator<=>(const IndexIterator& a, const IndexIterator& b) { return a.at_ <=> b.at_; }

 private:
  View view_;
  int at_ = 0;
};

// Base of a view `View` with `size()` (an int) and `At(index)`, which returns a View::Item.
template <class View>
class IndexRange : public std::ranges::view_base {
 public:
  IndexIterator<View> begin() const { return {Own(), 0}; }
  IndexIterator<View> end() const { return {Own(), Own().size()}; }
  bool empty() const { return Own().size() == 0; }

 private:
  const View& Own() const { return static_cast<const View&>(*this); }
};

}  // namespace VekApi::Detail

#endif  // VEKAPI_INDEXRANGE_HPP
