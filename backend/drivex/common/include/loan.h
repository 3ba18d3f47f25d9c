// Bytes that stay their owner's while somebody else reads them, as a rule a block that is sent from there.
// The owner keeps a Lender beside the bytes and asks it ahead of whatever frees or moves them. While a loan
// is out that ends the program: nobody is ever left with bytes that are gone. A loan ends with its Loan. One
// thread.
#ifndef LOAN_H
#define LOAN_H

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

class Loan;

class Lender {
 public:
  Lender() = default;
  // The bytes of the new owner are lent to nobody. They may have been moved out of the other's.
  Lender(const Lender& other) { other.BytesMayGo(); }
  Lender& operator=(const Lender& other) {
    other.BytesMayGo();
    BytesMayGo();
    return *this;
  }
  ~Lender() { BytesMayGo(); }

  void BytesMayGo() const {
    if (loans_out == 0) [[likely]]
      return;
    std::fputs("bytes that are lent were to go\n", stderr);
    std::abort();
  }
  Loan Lend(const void* bytes, std::size_t count) const;

 private:
  friend class Loan;
  mutable std::size_t loans_out = 0;
};

class Loan {
 public:
  Loan() = default;
  Loan(Loan&& other) noexcept
      : lender_(std::exchange(other.lender_, nullptr)), bytes_(std::exchange(other.bytes_, {})) {}
  Loan& operator=(Loan&& other) noexcept {
    std::swap(lender_, other.lender_);
    std::swap(bytes_, other.bytes_);
    return *this;
  }
  ~Loan() { End(); }

  void End() {
    if (lender_ == nullptr) return;
    --lender_->loans_out;
    lender_ = nullptr;
    bytes_ = {};
  }
  std::string_view Bytes() const { return bytes_; }

 private:
  friend class Lender;
  Loan(const Lender& lender, std::string_view bytes) : lender_(&lender), bytes_(bytes) { ++lender.loans_out; }

  const Lender* lender_ = nullptr;
  std::string_view bytes_;
};

inline Loan Lender::Lend(const void* bytes, std::size_t count) const {
  return {*this, {static_cast<const char*>(bytes), count}};
}

#endif
