"""Brings up a device in a sandbox: an outer half, an inner half, and what they share."""
