#include <kxnet/search_resolve_query.h>

#include "service_search.h"

namespace kxnet {

search_resolve_query_handler::~search_resolve_query_handler() = default;

search_resolve_query::search_resolve_query(std::string const& service_type, search_resolve_query_handler& handler)
    : search_(std::make_unique<service_search>(service_type, handler)) {}

search_resolve_query::~search_resolve_query() = default;

} // namespace kxnet
