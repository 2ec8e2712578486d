// The entry point of the module that carries libcurl: loaded only by a build that sends
// analytics, so that every other Mavo leaves the TLS stack unloaded.

#include "platform/linux/http/CurlHttpSender.h"

extern "C" __attribute__((visibility("default"))) mavo::HttpSender* mavo_create_http_sender() {
    return new mavo::CurlHttpSender();
}
