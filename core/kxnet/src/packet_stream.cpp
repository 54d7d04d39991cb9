#include <kxnet/packet_stream.h>

#include "packet_stream_parts.h"
#include "resolving.h"

#include <utility>
#include <vector>

namespace kxnet {

namespace {

using std::chrono::steady_clock;

tcp_socket connect_any(std::vector<endpoint> const& addresses, std::size_t& used, time_point deadline,
                       stop_signal const* stop);

} // namespace

std::unique_ptr<packet_stream> packet_stream::connect(std::string const& host, std::string const& port,
                                                      transport_options const& options, unsigned int timeout_ms,
                                                      stop_signal const* stop) {
    time_point const deadline = deadline_after(timeout_ms);
    auto const tls = options.tls ? std::make_shared<tls_context const>(options) : nullptr;
    std::vector<endpoint> const addresses = resolve(host, port, deadline, stop);
    std::size_t used = 0;
    tcp_socket socket = connect_any(addresses, used, deadline, stop);
    auto parts =
        std::make_unique<packet_stream_parts>(std::move(socket), endpoint_text(addresses[used]), tls,
                                              options.certificate_name.empty() ? host : options.certificate_name);
    parts->greet(deadline);
    parts->socket.set_stop(nullptr);
    return std::unique_ptr<packet_stream>(new packet_stream(std::move(parts)));
}

packet_stream::packet_stream(std::unique_ptr<packet_stream_parts> parts) noexcept : parts_(std::move(parts)) {}

packet_stream::~packet_stream() {
    close();
}

void packet_stream::greet(unsigned int timeout_ms) {
    parts_->greet(deadline_after(timeout_ms));
}

void packet_stream::send(kxp::packet const& packet, unsigned int timeout_ms, progress_function const& progress) {
    send(frame(packet), timeout_ms, progress);
}

void packet_stream::send(frame const& frame, unsigned int timeout_ms, progress_function const& progress) {
    parts_->send(frame, timeout_ms, progress);
}

kxbase::ptr_refcount<kxp::packet> packet_stream::receive(time_point deadline, unsigned int timeout_ms) {
    return parts_->receive(deadline, timeout_ms);
}

void packet_stream::set_frame_limit(std::size_t bytes) noexcept {
    parts_->set_frame_limit(bytes);
}

std::size_t packet_stream::reply_under_way(std::uint32_t number) const noexcept {
    return parts_->reply_under_way(number);
}

std::size_t packet_stream::received_size() const noexcept {
    return parts_->received_size;
}

void packet_stream::close() noexcept {
    parts_->close();
}

bool packet_stream::is_open() const noexcept {
    return parts_->is_open();
}

std::string const& packet_stream::peer() const noexcept {
    return parts_->peer;
}

namespace {

/// The first address that answers; an address that does not leaves time for those after it.
tcp_socket connect_any(std::vector<endpoint> const& addresses, std::size_t& used, time_point deadline,
                       stop_signal const* stop) {
    for (used = 0;; ++used) {
        std::size_t const left = addresses.size() - used;
        time_point const now = steady_clock::now();
        time_point const share = now + (deadline - now) / static_cast<std::int64_t>(left);
        try {
            return tcp_socket::connect(addresses[used], share, stop);
        } catch (kxbase::es::call const&) {
            if (left == 1) throw;
        }
    }
}

} // namespace

} // namespace kxnet
