// What the application takes from its surroundings before the main window is built.
#pragma once

// How the application object treats displays and sessions; heeded only before it exists.
void PrepareProcess();

// Reads the switch variants from their file in the data folder; returns what the store says (0: the file was there and
// well formed). Before any window and any thread of the server exist.
unsigned InitSwitchVariants();

// Codec, name, icon, switch variants, layout direction and language of the application object, in this order: whatever
// is built later takes its texts and its direction from them.
void PrepareApplication();
