// What the two sides say. Every line begins with the name of its side, and is out before the other side can speak.
#pragma once

// Says a line on standard output.
__attribute__((format(printf, 2, 3))) void say(const char *side, const char *format, ...);

// Says on standard error what went wrong.
__attribute__((format(printf, 2, 3))) void complain(const char *side, const char *format, ...);
