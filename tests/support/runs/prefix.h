// The prefix of the tests, below which runs that the daemon starts keep trace and operation log.
#pragma once

// Removes everything below the test prefix. Done before each test whose suite is a Prefix one, so
// that no test meets the lines of another, or of a run of the tests that failed.
void EmptyTestPrefix();
