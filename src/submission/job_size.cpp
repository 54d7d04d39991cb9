#include "submission/job_size.h"

#include "raising.h"

#include <kxbase/limits.h>

#include <string>

namespace kxclientutil {

void require_room_for(std::size_t count, std::size_t bytes_each) {
    std::size_t const most_bytes = kxbase::current_limits().document;
    if (count > most_bytes / bytes_each)
        refuse_job("a tree of more than " + std::to_string(most_bytes) + " encoded bytes (limit document)");
}

void refuse_job(std::string_view reason) {
    raise_from<kxbase::es::arg>(submission_source_path, "The job would be too large: " + std::string(reason));
}

} // namespace kxclientutil
