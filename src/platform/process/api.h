#pragma once

/// Marks what the library that a process has once gives to the host and to every module.
#define MCGATE_PROCESS_API __attribute__((visibility("default")))
