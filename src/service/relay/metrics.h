#pragma once
// The service's figures as a page that Prometheus reads. Nothing that a client wrote stands in it: no handle,
// code or address.

#include <string>

namespace zephyl {

struct Counters;
struct ServiceFacts;

enum class MetricsForm {
    Text,         // version 0.0.4
    OpenMetrics,  // version 1.0.0
};
const char* MetricsType(MetricsForm form);  // for Content-Type

std::string Metrics(const ServiceFacts& facts, const Counters& counters, MetricsForm form);

/// "" when it is well; else what ails it, for people.
std::string Ailment(const ServiceFacts& facts);

}  // namespace zephyl
