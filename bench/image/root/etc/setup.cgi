#!/bin/sh
# Setup page of the router image: answers every request with the first page.
echo "Content-type: text/html"
echo
cat /www/indexca.htm
