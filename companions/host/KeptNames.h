#pragma once

/// The kept copy of a property's name, or null when there is no memory for a new
/// one. Packets have a handful of different names, so each is kept once for the
/// whole process, for ever.
/// Threads: any.
const wchar_t* KeepName(const wchar_t* name);
