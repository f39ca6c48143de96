considering numeric strings
"10.9" < "10.10"
end considering
