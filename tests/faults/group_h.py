"""Group H: the server refuses, lies, stalls and breaks off."""
