// TvState
