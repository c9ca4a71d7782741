// Nothing of its own.
