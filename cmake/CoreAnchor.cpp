// Keeps zorv_core a valid library while its parts are object libraries.
