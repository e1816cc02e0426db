#!/bin/sh
# makecertificates.sh FOLDER: makes the certificates of the TLS tests. FOLDER/trust holds the one trusted root; NAME.pem
# and NAME.key below FOLDER are what a server presents.
set -e
cd "$1"
mkdir -p trust volatile
exec >makecertificates.log 2>&1

root() { # file subject
  openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout "$1.key" -out "$1.crt" -days 3650 \
    -subj "/CN=$2" -addext "basicConstraints=critical,CA:TRUE" -addext "keyUsage=critical,keyCertSign,cRLSign"
}

request() { # name cn [rsa]
  if [ "$3" = rsa ]; then
    openssl req -newkey rsa:2048 -nodes -keyout "$1.key" -out "$1.csr" -subj "/CN=$2"
  else
    openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout "$1.key" -out "$1.csr" -subj "/CN=$2"
  fi
}

leaf() { # name issuer cn extension [rsa]
  request "$1" "$3" "$5"
  printf 'basicConstraints=CA:FALSE\nextendedKeyUsage=serverAuth\n%s\n' "$4" >"$1.ext"
  openssl x509 -req -in "$1.csr" -CA "$2.crt" -CAkey "$2.key" -CAcreateserial -days 365 -extfile "$1.ext" -out "$1.pem"
}

dated() { # name start end
  request "$1" cs.example.com
  rm -f index.txt serial.txt && touch index.txt && echo 1000 >serial.txt
  cat >ca.cnf <<CNF
[ca]
default_ca=own
[own]
database=index.txt
serial=serial.txt
new_certs_dir=.
default_md=sha256
policy=any
x509_extensions=leaf
[any]
commonName=supplied
[leaf]
basicConstraints=CA:FALSE
subjectAltName=DNS:cs.example.com
CNF
  openssl ca -batch -notext -config ca.cnf -in "$1.csr" -cert root.crt -keyfile root.key -startdate "$2" -enddate "$3" \
    -out "$1.pem"
}

root root "Test root"
root otherroot "Test root of somebody else"
cp root.crt trust/root.pem

request intermediate "Test intermediate"
printf 'basicConstraints=critical,CA:TRUE\nkeyUsage=critical,keyCertSign\n' >intermediate.ext
openssl x509 -req -in intermediate.csr -CA root.crt -CAkey root.key -CAcreateserial -days 3650 \
  -extfile intermediate.ext -out intermediate.crt

leaf good root cs.example.com "subjectAltName=DNS:cs.example.com,DNS:localhost,IP:127.0.0.1"
leaf rsa root cs.example.com "subjectAltName=DNS:cs.example.com" rsa
leaf wildcard root example.com "subjectAltName=DNS:*.example.com"
leaf otherhost root other.example.com "subjectAltName=DNS:other.example.com,IP:127.0.0.2"
leaf commonname root cs.example.com ""
leaf unknown otherroot cs.example.com "subjectAltName=DNS:cs.example.com"
leaf missing intermediate cs.example.com "subjectAltName=DNS:cs.example.com"
cp missing.key chain.key
cat missing.pem intermediate.crt >chain.pem
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout selfsigned.key -out selfsigned.pem \
  -days 365 -subj "/CN=cs.example.com" -addext "subjectAltName=DNS:cs.example.com"
dated expired 20200101000000Z 20210101000000Z
dated notyet 20680101000000Z 20690101000000Z
