#pragma once

// What the example platform received from the library: "msgId/evalType" of every feature-chip
// request, in order, separated by spaces.
const char* examplePlatformMessages();
