#include <kxcapi/state_connection.h>

#include "job_table.h"

#include <utility>

namespace kxcapi {

namespace {

job_cache cache_of(unsigned int finished_jobs, kxcore::plugin_db const* plugins) {
    job_cache cache{finished_jobs};
    if (plugins != nullptr) cache.plugins = *plugins;
    return cache;
}

} // namespace

state_connection::state_connection(state_handler* handler, kxnet::transport_options options)
    : state_connection(std::make_shared<job_table>(handler, std::nullopt), std::move(options)) {}

state_connection::state_connection(state_handler* handler, unsigned int finished_jobs, kxcore::plugin_db const* plugins,
                                   kxnet::transport_options options)
    : state_connection(std::make_shared<job_table>(handler, cache_of(finished_jobs, plugins)), std::move(options)) {}

state_connection::state_connection(std::shared_ptr<job_table> table, kxnet::transport_options options)
    : connection(table, std::move(options)), table_(std::move(table)) {}

state_connection::~state_connection() {
    table_->detach();
    close();
}

void state_connection::starting() {
    table_->start();
}

std::vector<job> state_connection::get_jobs() const {
    return table_->get_jobs();
}

std::optional<job> state_connection::get_job(std::string_view id) const {
    return table_->get_job(id);
}

} // namespace kxcapi
