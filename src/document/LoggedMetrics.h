#pragma once

#include "metrics/BoatMetric.h"

#include <vector>

class Document;

// The metrics some loaded log of the document holds, each once: the catalogue's in catalogue
// order, then the event's own columns by name. What the choosers of metrics offer or grey out.
std::vector<BoatMetric> loggedMetrics(const Document& document);
