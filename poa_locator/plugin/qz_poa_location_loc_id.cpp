// The version of the library, for people who look into the file with strings or ident.
extern const char qz_poa_location_loc_id[];
[[gnu::used]] const char qz_poa_location_loc_id[] = "$Id: qz_poa_location_loc 3 $";
