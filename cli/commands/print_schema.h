#pragma once

// `lanfab schema`: the JSON Schema of the configuration.

// Prints it. Returns 0.
int print_schema();
