#include "common/output/descriptor_buffer.h"

#include "common/errors.h"

#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace orn::fmcw_host {

descriptor_buffer_t::descriptor_buffer_t(int descriptor, std::string name)
    : descriptor_(descriptor), name_(std::move(name)), bytes_(1U << 16U) {
  setp(bytes_.data(), bytes_.data() + bytes_.size());
}

descriptor_buffer_t::int_type descriptor_buffer_t::overflow(int_type c) {
  sync();
  return traits_type::eq_int_type(c, traits_type::eof()) ? traits_type::not_eof(c)
                                                         : sputc(traits_type::to_char_type(c));
}

std::streamsize descriptor_buffer_t::xsputn(const char* bytes, std::streamsize count) {
  if (count < epptr() - pptr()) {
    return std::streambuf::xsputn(bytes, count);
  }
  sync();
  write_all(bytes, static_cast<std::size_t>(count));
  return count;
}

int descriptor_buffer_t::sync() {
  const auto count = static_cast<std::size_t>(pptr() - pbase());
  setp(bytes_.data(), bytes_.data() + bytes_.size());
  write_all(bytes_.data(), count);
  return 0;
}

descriptor_buffer_t::pos_type descriptor_buffer_t::seekoff(off_type offset,
                                                           std::ios_base::seekdir from,
                                                           std::ios_base::openmode /*which*/) {
  sync();
  const int whence = from == std::ios_base::beg   ? SEEK_SET
                     : from == std::ios_base::cur ? SEEK_CUR
                                                  : SEEK_END;
  return {::lseek(descriptor_, offset, whence)};
}

descriptor_buffer_t::pos_type descriptor_buffer_t::seekpos(pos_type place,
                                                           std::ios_base::openmode which) {
  return seekoff(place, std::ios_base::beg, which);
}

void descriptor_buffer_t::write_all(const char* bytes, std::size_t count) {
  while (count != 0) {
    const ssize_t done = ::write(descriptor_, bytes, count);
    if (done < 0 && (errno == EINTR || errno == EAGAIN)) {
      pollfd waiting{descriptor_, POLLOUT, 0};
      ::poll(&waiting, 1, -1);
      continue;
    }
    if (done < 0) {
      throw run_error_t("{}: not everything could be written: {}", name_,
                        std::generic_category().message(errno));
    }
    bytes += done;
    count -= static_cast<std::size_t>(done);
  }
}

}  // namespace orn::fmcw_host
