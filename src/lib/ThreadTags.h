#pragma once
// The one vocabulary for saying who may call an entry point and what it holds. Every public
// operation of the engine and the plug-in frame carries one or more of these tags in its comment.
//
//   [audio-thread]   called by the host's audio thread (process, processEvents, the render path).
//                    Allocates nothing, does no I/O, takes no lock but the main lock.
//   [ui-thread]      called by the host's UI thread or the editor (edits, loads, dispatcher calls).
//   [any-thread]     safe from either thread.
//   [main-lock]      the caller holds AudioPlugin's recursive main lock.
//   [takes-main-lock] the operation takes the main lock itself.
//   [param-lock]     the caller holds (or the operation takes) the parameter-vector lock.
//   [lock-free]      reads or writes plain cells without a lock (automation cells); a torn value
//                    costs one wrong control value for one block.
//
// The tags are comments only: they document the threading contract that the code relies on.
