#pragma once

/// Marks what the module exports under its own name. Everything else is built hidden.
#define ORIDAN_API __attribute__((visibility("default")))
