#pragma once
/// A small file transfer on the raw socket's connection, for text without '/' (calibration tables). "/\n" ends a
/// transfer, and acknowledges each read of a file on its way in.
///
/// Both run within a command of the raw socket itself, whose link's thread does nothing else meanwhile.

struct Tvsocket;

/// Sends the file without its last newline, then "/\n"; for a file that cannot be opened just that. Returns 0, or -200
/// if the file could not be opened or the connection failed.
int Tvsocket_rmtSendFile(Tvsocket* socket, const char* path);

/// Receives a file up to a '/' or the end of the connection, and adds a newline. Data for a file that cannot be written
/// is acknowledged and dropped. Returns 0, or -200 if the file could not be written: the old one stays.
int Tvsocket_rmtReceiveFile(Tvsocket* socket, const char* path);
