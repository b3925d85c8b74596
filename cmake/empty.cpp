// Intentionally empty: gives every stage library at least one source.
