// The receiving side: takes one block from standard input, shows what it holds, edits and answers it.
#pragma once

// Returns the exit status of the program.
int runReceiver(void);
