// The console application: filled in by the command-line front end.
