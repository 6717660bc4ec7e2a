// The script of the report page.
