#include <kxcapi/handler.h>

namespace kxcapi {

handler::~handler() = default;

void handler::event(kxp::packet const& /*packet*/) {}

void handler::closed(std::string const& /*reason*/) {}

state_handler::~state_handler() = default;

void state_handler::job_changed(job const& /*now*/) {}

void state_handler::job_removed(job const& /*last*/) {}

void state_handler::state_complete() {}

} // namespace kxcapi
