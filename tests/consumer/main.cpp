// A client as small as it gets: makes a job of a workflow of the sample installation, through installed headers alone.
//
//   consumer INSTALLATION

#include <kxclientutil/config.h>
#include <kxclientutil/submission.h>

#include <kxcore/installation.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>

#include <kxbase/errors.h>

#include <cstdio>
#include <string>

int main(int count, char** arguments) {
    if (count != 2) return 2;
    std::string const folder = arguments[1];
    try {
        kxcore::installation const here = kxcore::installation::load(folder);
        kxcore::properties workflow;
        kxclientutil::e_config_type const type = kxclientutil::read_config_file(
            folder + "/examples/workflow.xml", here.get_plugins(), here.get_constraints(), workflow, nullptr);

        kxcore::properties job;
        kxclientutil::submission_add_workflow(workflow, job);
        kxclientutil::submission_add_files({"file:/media/clip.mov"}, "clip", job);
        kxcore::property_list resources;
        kxclientutil::finalize_sub_conf settings("origin-node");
        settings.resource_uri_option = true;
        kxclientutil::submission_finalize(job, resources, settings, here.get_plugins(), here.get_constraints());

        std::printf("%s: %s, %zu resources\n", kxclientutil::type_c_str(type),
                    kxclientutil::submission_is_finalized(job) ? "finalized" : "not finalized", resources.size());
        if (!kxclientutil::submission_is_finalized(job) || resources.size() == 0) return 1;
    } catch (kxbase::es::base const& error) {
        std::printf("unexpected: %s\n", error.what());
        return 1;
    }

    // An error raised in one module is caught in another.
    try {
        static_cast<void>(kxcore::installation::load(folder + "/nowhere"));
    } catch (kxbase::es::call const&) {
        return 0;
    }
    return 1;
}
