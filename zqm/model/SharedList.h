// SharedList: an ordered list of records as chunks that copies of the list share.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "zqm/base/Exception.h"

namespace zqm {

// How one list becomes another: at `index`, `removed` elements give way to `inserted` new ones.
struct Splice {
  std::size_t index = 0;
  std::size_t removed = 0;
  std::size_t inserted = 0;
};

// A value: a change to one copy is not seen in another, whatever threads they are on. A copy costs
// the same whatever the length, and so does nearly every change at either end: it touches the outer
// chunks, and one in 64 the list of those between them. A change in the midst costs that list and
// one chunk.
template <class R>
class SharedList {
 public:
  using Record = R;
  using Item = std::shared_ptr<const R>;

  std::size_t size() const { return size_; }

  // Throws "NSRangeException" past the end.
  Item at(std::size_t index) const {
    std::size_t left = index;
    for (std::size_t i = partBefore(left); i < partCount(); ++i) {
      if (left < part(i).size()) return part(i).begin()[left];
      left -= part(i).size();
    }
    std::string reason = "index ";
    reason.append(std::to_string(index)).append(" beyond the list's ");
    throw Exception(kRangeException, reason.append(std::to_string(size_)).append(" items"));
  }

  void append(Item item) {
    watchForRepetition(item);
    appendNew(std::move(item));
  }

  // One that the list does not hold yet, whoever else does.
  void appendNew(Item item) {
    if (!last_.append(item)) {
      Part next = Part::of(std::move(item));
      if (last_.size() > 0) changeMiddle([this](Parts& parts) { parts.push_back(last_); });
      last_ = std::move(next);
    }
    ++size_;
  }

  void prepend(Item item) {
    watchForRepetition(item);
    Part next = Part::of(std::move(item));
    if (first_.size() < kChunkSize) {
      for (const Item& each : first_) next.append(each);
    } else {
      changeMiddle([this](Parts& parts) { parts.insert(parts.begin(), first_); });
    }
    first_ = std::move(next);
    ++size_;
  }

  // Takes out every occurrence of this very object.
  void remove(const Item& item) {
    std::size_t removed = first_.remove(item);
    for (std::size_t i = 1; i + 1 < partCount() && (removed == 0 || mayRepeat_); ++i) {
      Part rest = part(i);
      const std::size_t here = rest.remove(item);
      if (here == 0) continue;
      changeMiddle([&](Parts& parts) { parts[i - 1] = std::move(rest); });
      removed += here;
    }
    if (removed == 0 || mayRepeat_) removed += last_.remove(item);
    size_ -= removed;
    while (first_.size() == 0 && partCount() > 2) {
      first_ = part(1);
      changeMiddle([](Parts& parts) { parts.erase(parts.begin()); });
    }
  }

  template <class Visit>
  void forEach(Visit visit) const {
    forEach(0, size_, visit);
  }

  // The elements from `index` on, `count` of them.
  template <class Visit>
  void forEach(std::size_t index, std::size_t count, Visit visit) const {
    for (std::size_t i = partBefore(index); i < partCount() && count > 0; ++i) {
      const std::size_t skipped = std::min(index, part(i).size());
      const std::size_t end = std::min(part(i).size(), skipped + count);
      for (std::size_t j = skipped; j < end; ++j) visit(*part(i).begin()[j]);
      index -= skipped;
      count -= end - skipped;
    }
  }

  // A way from `before` to this list: the shortest for one change at one place. Looks at chunks,
  // and at the elements of the first that is not shared, from either end.
  Splice changeFrom(const SharedList& before) const {
    const std::size_t shorter = std::min(size_, before.size_);
    const std::size_t head =
        std::min(common(*this, before, &SharedList::part, &Part::commonHead), shorter);
    const std::size_t tail = std::min(
        common(*this, before, &SharedList::partFromEnd, &Part::commonTail), shorter - head);
    return {head, before.size_ - head - tail, size_ - head - tail};
  }

 private:
  // A removed element is kept, body and all, until its chunk goes.
  static constexpr std::size_t kChunkSize = 64;

  // Elements that lists share. One that is free belongs to whoever claims it first.
  struct Chunk {
    std::array<Item, kChunkSize> items;
    std::atomic<std::size_t> claimed = 0;
  };

  // What a list sees of a chunk.
  class Part {
   public:
    static Part of(Item item) {
      Part part;
      part.chunk_ = std::make_shared<Chunk>();
      part.append(std::move(item));
      return part;
    }

    std::size_t size() const { return end_ - begin_; }
    const Item* begin() const { return chunk_ ? chunk_->items.data() + begin_ : nullptr; }
    const Item* end() const { return chunk_ ? chunk_->items.data() + end_ : nullptr; }
    bool operator==(const Part&) const = default;

    // False when the place behind the last element is not to be had.
    bool append(Item item) {
      std::size_t expected = end_;
      if (!chunk_ || end_ == kChunkSize ||
          !chunk_->claimed.compare_exchange_strong(expected, end_ + 1)) {
        return false;
      }
      chunk_->items[end_++] = std::move(item);
      return true;
    }

    // How many times it was there.
    std::size_t remove(const Item& item) {
      const Item* const found = std::find(begin(), end(), item);
      if (found == end()) return 0;
      if (found == begin() && std::find(found + 1, end(), item) == end()) {
        if (++begin_ == end_) *this = Part();
        return 1;
      }
      Part rest;
      rest.chunk_ = std::make_shared<Chunk>();
      for (const Item& each : *this) {
        if (each != item) rest.append(each);
      }
      const std::size_t removed = size() - rest.size();
      *this = std::move(rest);
      return removed;
    }

    std::size_t commonHead(const Part& other) const {
      if (chunk_ == other.chunk_ && begin_ == other.begin_) return std::min(size(), other.size());
      return static_cast<std::size_t>(
          std::mismatch(begin(), end(), other.begin(), other.end()).first - begin());
    }

    std::size_t commonTail(const Part& other) const {
      const auto last = std::make_reverse_iterator(end());
      return static_cast<std::size_t>(std::mismatch(last, std::make_reverse_iterator(begin()),
                                                    std::make_reverse_iterator(other.end()),
                                                    std::make_reverse_iterator(other.begin()))
                                          .first -
                                      last);
    }

   private:
    std::shared_ptr<Chunk> chunk_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
  };

  using Parts = std::vector<Part>;

  std::size_t partCount() const { return middle_ ? middle_->size() + 2 : 2; }

  const Part& part(std::size_t index) const {
    if (index == 0) return first_;
    return index + 1 == partCount() ? last_ : (*middle_)[index - 1];
  }

  // Where to look for an element from: the last part for one that is there, the first for others.
  // The index becomes one from there.
  std::size_t partBefore(std::size_t& index) const {
    const std::size_t before = size_ - last_.size();
    if (index < before) return 0;
    index -= before;
    return partCount() - 1;
  }

  const Part& partFromEnd(std::size_t index) const { return part(partCount() - 1 - index); }

  template <class Edit>
  void changeMiddle(Edit edit) {
    Parts parts = middle_ ? *middle_ : Parts();
    edit(parts);
    middle_ = parts.empty() ? nullptr : std::make_shared<const Parts>(std::move(parts));
  }

  // An item that nobody else holds is in no list yet.
  void watchForRepetition(const Item& item) { mayRepeat_ = mayRepeat_ || item.use_count() > 1; }

  // The elements of the parts that both lists begin with, numbered from one of their ends, and
  // those that the first other pair has in common.
  static std::size_t common(const SharedList& a, const SharedList& b,
                            const Part& (SharedList::*part)(std::size_t) const,
                            std::size_t (Part::*compare)(const Part&) const) {
    std::size_t count = 0;
    for (std::size_t i = 0, j = 0;; ++i, ++j) {
      while (i < a.partCount() && (a.*part)(i).size() == 0) ++i;
      while (j < b.partCount() && (b.*part)(j).size() == 0) ++j;
      if (i == 1 && j == 1 && a.middle_ && a.middle_ == b.middle_) {
        count += a.size_ - a.first_.size() - a.last_.size();
        i = j = a.middle_->size();
        continue;
      }
      if (i == a.partCount() || j == b.partCount()) return count;
      const Part& one = (a.*part)(i);
      const Part& other = (b.*part)(j);
      if (!(one == other)) return count + (one.*compare)(other);
      count += one.size();
    }
  }

  // Empty while `last_` holds all.
  Part first_;
  // Null for none.
  std::shared_ptr<const Parts> middle_;
  Part last_;
  std::size_t size_ = 0;
  bool mayRepeat_ = false;
};

}  // namespace zqm
